# QNSNWSM_SANITIZE=address,undefined | thread | "" (off). Applies to every target of the build.
set(QNSNWSM_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
if(QNSNWSM_SANITIZE)
  add_compile_options(-fsanitize=${QNSNWSM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QNSNWSM_SANITIZE})
endif()
