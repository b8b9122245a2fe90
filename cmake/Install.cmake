include(CMakePackageConfigHelpers)

set(package-dir ${CMAKE_INSTALL_LIBDIR}/cmake/scada-sensors)
set(pkgconfig-dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
# The pkg-config files find the tree that they stand in, wherever it is installed.
string(REGEX REPLACE "[^/]+" ".." prefix-from-pkgconfig ${pkgconfig-dir})

install(TARGETS scada-sensors EXPORT scada-sensors-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(EXPORT scada-sensors-targets NAMESPACE scada-sensors:: DESTINATION ${package-dir} COMPONENT dev)
install(DIRECTORY include/scada DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
configure_package_config_file(cmake/scada-sensors-config.cmake.in scada-sensors-config.cmake
  INSTALL_DESTINATION ${package-dir})
write_basic_package_version_file(scada-sensors-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/scada-sensors-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/scada-sensors-config-version.cmake
  cmake/jsoncpp.cmake
  DESTINATION ${package-dir} COMPONENT dev)
configure_file(cmake/scada-sensors.pc.in scada-sensors.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/scada-sensors.pc DESTINATION ${pkgconfig-dir} COMPONENT dev)

# The stand-in is a package of its own: a device that brings its own support library leaves it out.
if(SCADA_BUILD_SUPPORT)
  install(TARGETS kelvra-support EXPORT kelvra-support-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
  install(EXPORT kelvra-support-targets NAMESPACE scada-sensors:: DESTINATION ${package-dir} COMPONENT dev)
  install(DIRECTORY support/include/kelvra DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
  configure_file(cmake/kelvra-support.pc.in kelvra-support.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelvra-support.pc DESTINATION ${pkgconfig-dir} COMPONENT dev)
endif()

if(SCADA_BUILD_RUNNERS)
  set(runner-dir ${CMAKE_INSTALL_LIBEXECDIR}/scada-sensors)
  install(TARGETS codec-runner-duktape RUNTIME DESTINATION ${runner-dir} COMPONENT codec)
  install(PROGRAMS runners/node/codec-runner-node DESTINATION ${runner-dir} COMPONENT codec)
  install(FILES man/codec-runner-duktape.1 man/codec-runner-node.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT codec)
endif()

if(SCADA_BUILD_TOOL)
  install(TARGETS scada-sensors-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/scada-sensors\")"
    COMPONENT tool)
  install(FILES man/scada-sensors.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES man/scada-sensors-definition.5 man/scada-sensors-map.5
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT tool)
  install(FILES tools/scada-sensors/commands/completion.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME scada-sensors COMPONENT tool)
  install(DIRECTORY schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/scada-sensors COMPONENT tool)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)
endif()
