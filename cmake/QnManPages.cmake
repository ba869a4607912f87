# Manual pages: each program's page is written once in scdoc (packaging/man/<program>.1.scd), built into the
# build tree with every build and installed to man1 with the program's package.
#
#   qn_add_man_page(<program> [COMPONENT <component>])   COMPONENT defaults to tools
find_program(QN_SCDOC scdoc)
if(NOT QN_SCDOC)
  message(FATAL_ERROR "scdoc is needed to build the manual pages (Debian package: scdoc; scripts/install-deps.sh "
                      "installs it)")
endif()

function(qn_add_man_page program)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT" "")
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT tools)
  endif()
  set(source ${PROJECT_SOURCE_DIR}/packaging/man/${program}.1.scd)
  set(page ${PROJECT_BINARY_DIR}/man/${program}.1)
  # Debian ships manual pages compressed; gzip -n keeps the package reproducible.
  add_custom_command(
    OUTPUT ${page} ${page}.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
    COMMAND sh -c "\"$0\" < \"$1\" > \"$2\" && gzip -9nkf \"$2\"" ${QN_SCDOC} ${source} ${page}
    DEPENDS ${source}
    COMMENT "Manual page ${program}(1)"
    VERBATIM)
  add_custom_target(${program}-man ALL DEPENDS ${page}.gz)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${arg_COMPONENT})
endfunction()
