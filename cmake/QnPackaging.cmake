# Installation extras and the Debian package: the machine-wide configuration store, a pkg-config file, CPack.

# The configuration store points the module at the installed stylesheets. An existing store is kept:
# administrators edit it, and the module writes values back into it.
set(QNSNWSM_CONFIG_DIR "/etc/qnsnwsm" CACHE PATH "Folder of the machine-wide configuration store")
configure_file(${PROJECT_SOURCE_DIR}/cmake/registry.conf.in ${PROJECT_BINARY_DIR}/registry.conf @ONLY)
install(CODE "
  set(store \"\$ENV{DESTDIR}${QNSNWSM_CONFIG_DIR}/registry.conf\")
  if(EXISTS \"\${store}\")
    message(STATUS \"Keeping: \${store}\")
  else()
    file(INSTALL \"${PROJECT_BINARY_DIR}/registry.conf\" DESTINATION \"${QNSNWSM_CONFIG_DIR}\")
  endif()")

configure_file(${PROJECT_SOURCE_DIR}/cmake/qnsnwsm.pc.in ${PROJECT_BINARY_DIR}/qnsnwsm.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qnsnwsm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_GENERATOR "DEB")
set(CPACK_PACKAGE_NAME "qnsnwsm")
set(CPACK_PACKAGE_VENDOR "qnsnwsm developers")
set(CPACK_PACKAGE_CONTACT "qnsnwsm developers <qnsnwsm@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Agentless Windows monitoring over WS-Management (WinRM)")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "net")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The NTLM mechanism is a GSSAPI plug-in loaded at run time, so no library dependency names it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "gss-ntlmssp")
include(CPack)
