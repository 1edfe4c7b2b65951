# Headers, libmrp.so, the applications, the platforms, the command, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mrp)

foreach(room agent/mvrp mrp platform)
  cmake_path(GET room PARENT_PATH above)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${room}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libmrp/${above}
    FILES_MATCHING PATTERN "*.h")
endforeach()

install(TARGETS mrp EXPORT mrpTargets)
foreach(library mrp_agent mrp_host mrp_embedded mrp_linux)
  if(TARGET ${library})
    install(TARGETS ${library} EXPORT mrpTargets)
  endif()
endforeach()
if(TARGET mrp_cli)
  install(TARGETS mrp_cli)
endif()

install(EXPORT mrpTargets NAMESPACE mrp:: DESTINATION ${package_dir})
configure_package_config_file(cmake/mrpConfig.cmake.in ${PROJECT_BINARY_DIR}/mrpConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mrpConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mrpConfig.cmake ${PROJECT_BINARY_DIR}/mrpConfigVersion.cmake
  DESTINATION ${package_dir})

# Paths relative to the .pc file keep an installation movable.
file(RELATIVE_PATH pc_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/libmrp.pc.in ${PROJECT_BINARY_DIR}/libmrp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/libmrp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The agent's service and examples of its configuration.
if(TARGET mrp_daemon)
  install(FILES ${PROJECT_BINARY_DIR}/mrp-agent.service DESTINATION lib/systemd/system)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/config/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/config)
endif()
