# Headers, libmrp.so, the applications, the platforms, the command, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mrp)

# Faces only: what an installed header declares, an installed library has (scripts/check-exports).
function(mrp_install_headers)
  foreach(header IN LISTS ARGN)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${PROJECT_SOURCE_DIR}/${header}
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libmrp/${folder})
  endforeach()
endfunction()

foreach(room agent/account agent/bridge agent/msrp agent/mvrp agent/why mrp/types platform)
  cmake_path(GET room PARENT_PATH above)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${room}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libmrp/${above}
    FILES_MATCHING PATTERN "*.h")
endforeach()
mrp_install_headers(
  mrp/MrpMsrp/MsrpValues.h mrp/MrpMsrp/MsrpViews.h mrp/MrpMsrp/PktView.h
  mrp/MrpMvrp/MvrpValues.h mrp/MrpMvrp/MvrpViews.h)
file(GLOB engine_faces CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/mrp/MrpSm/*.h)
# The root, for those who want the engine's operations by their names, and what these headers include.
mrp_install_headers(${engine_faces}
  mrp/MrpSm/engine/MrpSm.h mrp/MrpSm/db/MrpAttrIter.h
  mrp/MrpSm/pdu/TxPackets.h mrp/MrpSm/pdu/MrpTxPacketContext.h)

install(TARGETS mrp EXPORT mrpTargets)
foreach(library mrp_agent mrp_host mrp_embedded mrp_linux)
  if(TARGET ${library})
    install(TARGETS ${library} EXPORT mrpTargets)
  endif()
endforeach()
if(TARGET mrp_cli)
  install(TARGETS mrp_cli)
  install(TARGETS mrp_agent_program RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/mrp)
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

# Manual pages and completion are printed by the program, from the tables that it reads its command line with.
if(TARGET mrp_cli)
  set(manual_dir ${PROJECT_BINARY_DIR}/manual)
  set(manual_files)
  function(mrp_printed file)
    add_custom_command(OUTPUT ${manual_dir}/${file}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${manual_dir}
      COMMAND mrp_cli ${ARGN} > ${manual_dir}/${file}
      DEPENDS mrp_cli VERBATIM)
    set(manual_files ${manual_files} ${manual_dir}/${file} PARENT_SCOPE)
  endfunction()
  mrp_printed(mrp.1 manual mrp)
  mrp_printed(mrp-agent.8 manual mrp-agent)
  mrp_printed(mrp.toml.5 manual mrp.toml)
  mrp_printed(mrp.bash completion bash)
  mrp_printed(_mrp completion zsh)
  add_custom_target(mrp_manual ALL DEPENDS ${manual_files})
  foreach(section 1 8 5)
    set(pages ${manual_files})
    list(FILTER pages INCLUDE REGEX "\\.${section}$")
    install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
  endforeach()
  install(FILES ${manual_dir}/mrp.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME mrp)
  install(FILES ${manual_dir}/_mrp DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
endif()

# The agent's service and examples of its configuration.
if(TARGET mrp_daemon)
  install(FILES ${PROJECT_BINARY_DIR}/mrp-agent.service DESTINATION lib/systemd/system)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/config/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/config)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/metrics/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/metrics)
endif()
