# Installation extras and the Debian packages: the administrator's configuration file, the pkg-config file,
# one CPack run that builds one package per install component.
#
# Both generated files are written at install time, so they follow the prefix the tree is installed to
# (`cmake --install build --prefix /opt/qn`), not the one it was configured with. Nothing is written outside
# that prefix except for the /usr prefix, whose configuration belongs in /etc as the file system standard says.
set(QN_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)

# The folder of the administrator's file for the install-time prefix, as GNUInstallDirs derives it.
set(QN_INSTALLED_SYSCONFDIR_CODE "
  if(IS_ABSOLUTE \"${CMAKE_INSTALL_SYSCONFDIR}\")
    set(qn_sysconfdir \"${CMAKE_INSTALL_SYSCONFDIR}\")
  elseif(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    set(qn_sysconfdir \"/${CMAKE_INSTALL_SYSCONFDIR}\")
  else()
    set(qn_sysconfdir \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SYSCONFDIR}\")
  endif()")

# The administrator's file documents the settings and holds the ones a Linux host usually changes. An existing
# file is kept: it is the administrator's (the Debian package marks it as a conffile).
install(CODE "${QN_INSTALLED_SYSCONFDIR_CODE}
  if(EXISTS \"\$ENV{DESTDIR}\${qn_sysconfdir}/qnsnwsm/registry.conf\")
    message(STATUS \"Keeping: \$ENV{DESTDIR}\${qn_sysconfdir}/qnsnwsm/registry.conf\")
  else()
    file(INSTALL \"${QN_PACKAGING_DIR}/registry.conf\" DESTINATION \"\${qn_sysconfdir}/qnsnwsm\")
  endif()" COMPONENT tools)

install(CODE "
  set(QN_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(QN_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(QN_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  foreach(dir QN_PC_LIBDIR QN_PC_INCLUDEDIR)
    if(NOT IS_ABSOLUTE \"\${\${dir}}\")
      set(\${dir} \"\\\${prefix}/\${\${dir}}\")
    endif()
  endforeach()
  set(PROJECT_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/cmake/qnsnwsm.pc.in\" \"${PROJECT_BINARY_DIR}/pkgconfig/qnsnwsm.pc\" @ONLY)
  file(INSTALL \"${PROJECT_BINARY_DIR}/pkgconfig/qnsnwsm.pc\"
       DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\")" COMPONENT dev)

# Debian wants a copyright file and a changelog in every package's documentation folder.
set(QN_DEB_PACKAGES runtime libqnsnwsm1 dev libqnsnwsm-dev tools qnsnwsm sim qnsnwsm-sim)
configure_file(${QN_PACKAGING_DIR}/deb/changelog.in ${PROJECT_BINARY_DIR}/deb/changelog @ONLY)
execute_process(COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/deb/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/deb/changelog.Debian.gz)
while(QN_DEB_PACKAGES)
  list(POP_FRONT QN_DEB_PACKAGES component package)
  # Only in the packages (a component install), not in a plain `cmake --install`.
  install(FILES ${QN_PACKAGING_DIR}/deb/copyright ${PROJECT_BINARY_DIR}/deb/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
endwhile()

set(CPACK_GENERATOR "DEB")
set(CPACK_PACKAGE_NAME "qnsnwsm")
set(CPACK_PACKAGE_VENDOR "qnsnwsm developers")
set(CPACK_PACKAGE_CONTACT "qnsnwsm developers <qnsnwsm@packages.example.org>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
# The install code above sees the real prefix (/usr) and puts the administrator's file in /etc.
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools sim)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION "net")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The front end's library is in a sibling package: dpkg-shlibdeps finds it in the build tree.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/api)
set(qn_exact "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "libs")
# The NTLM mechanism is a GSSAPI plug-in loaded at run time, so no library dependency names it.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "gss-ntlmssp")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${QN_PACKAGING_DIR}/deb/postinst ${QN_PACKAGING_DIR}/deb/postrm ${QN_PACKAGING_DIR}/deb/triggers)
# Each description: the summary line, then the extended text (CPack indents it).
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Agentless Windows monitoring over WS-Management (library)
libqnsnwsm asks remote Windows computers over WinRM for their domain role,
CPU, disks, memory, printers, processes, IIS application pools, MSMQ queues,
services, shares, sessions, WMI counters, USB drives, accounts and network
traffic, through a flat C interface. This package holds the library and its
stylesheets.")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION "libdevel")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libqnsnwsm1 ${qn_exact}")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Agentless Windows monitoring over WS-Management (development files)
The C header, the link to the shared library and the pkg-config file for
programs that use libqnsnwsm.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libqnsnwsm1 ${qn_exact}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "qnsnwsm-sim")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${QN_PACKAGING_DIR}/deb/conffiles)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Agentless Windows monitoring over WS-Management (programs)
The qnsnwsm command runs every check of libqnsnwsm against a Windows
computer over WinRM; qnsnwsm demo runs them against the bundled simulator.
Also the machine-wide configuration file.")
set(CPACK_COMPONENT_SIM_DESCRIPTION "WinRM endpoint simulator for testing Windows monitoring
qnsnwsm-sim serves WS-Management on the loopback interface and answers like
a Windows computer (workstation, server or an unhealthy computer), with NTLM,
Kerberos or Basic authentication.")
include(CPack)
