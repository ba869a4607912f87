# Project-wide warning policy: every target of ours compiles clean under these.
function(qn_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
