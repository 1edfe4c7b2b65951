add_test(NAME layering COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-layering)

mrp_sources(test_sources tests)
if(NOT TARGET mrp_linux)
  list(FILTER test_sources EXCLUDE REGEX "/tests/platform/linux/")
endif()
if(test_sources)
  find_package(GTest REQUIRED)
  include(GoogleTest)
  add_executable(mrp_tests ${test_sources})
  mrp_compile_flags(mrp_tests)
  mrp_library_assertions(mrp_tests)
  # What is tested is optimised; optimising the tests themselves would double the time of a build. Only optimised code
  # can be fortified.
  target_compile_options(mrp_tests PRIVATE -O0 -g1 -U_FORTIFY_SOURCE)
  if(MRP_UNITY)
    mrp_unity_by_folder(mrp_tests SOURCES ${test_sources} ALONE
      ConfigTest.cpp FakeHost.cpp MachinesTest.cpp NaiveStreamsTest.cpp OutOfMemoryTest.cpp RpcTest.cpp ServiceTest.cpp
      StreamProgramTest.cpp SwitchOverTest.cpp)
  endif()
  mrp_precompile(mrp_tests <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp>)
  # A model is what a test spends its time in.
  set_source_files_properties(tests/agent/NaiveStreamsTest.cpp
    PROPERTIES COMPILE_OPTIONS -O1 SKIP_PRECOMPILE_HEADERS ON)
  target_compile_definitions(mrp_tests PRIVATE
    MRP_BINARY="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/mrp"
    MRP_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  target_link_libraries(mrp_tests PRIVATE
    $<TARGET_NAME_IF_EXISTS:mrp_cli_objects>
    mrp_sim_model ${internal_libraries} GTest::gmock GTest::gtest_main)
  if(TARGET mrp_cli)
    add_dependencies(mrp_tests mrp_cli)
    add_test(NAME why_page COMMAND ${PROJECT_SOURCE_DIR}/scripts/why-page --check $<TARGET_FILE:mrp_cli>)
  endif()
  # Discovered when ctest starts: a binary that cannot list its tests is a failed test run, not a failed link.
  gtest_discover_tests(mrp_tests
    NO_PRETTY_VALUES
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT 300)
  # What only a full kernel has; skipped where none can be started.
  if(TARGET mrp_linux AND NOT MRP_SANITIZE)
    add_test(NAME linux_platform_in_uml
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/in-uml $<TARGET_FILE:mrp_tests>
        --gtest_filter=BridgeVlans*:Links*)
    set_tests_properties(linux_platform_in_uml PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 300)
  endif()
endif()

# The page that shows a run, in a browser.
if(TARGET mrp_cli AND NOT MRP_SANITIZE)
  add_test(NAME page COMMAND ${PROJECT_SOURCE_DIR}/scripts/test-page $<TARGET_FILE:mrp_cli>)
  set_tests_properties(page PROPERTIES TIMEOUT 600 SKIP_RETURN_CODE 77)
endif()

# The agent on real interfaces, and what its service may do.
if(TARGET mrp_cli AND TARGET mrp_daemon)
  if(NOT MRP_SANITIZE)
    add_test(NAME net COMMAND ${PROJECT_SOURCE_DIR}/scripts/test-net $<TARGET_FILE:mrp_cli>)
    set_tests_properties(net PROPERTIES TIMEOUT 900 SKIP_RETURN_CODE 77)
  endif()
  if(NOT MRP_SANITIZE)
    add_test(NAME demo COMMAND ${PROJECT_SOURCE_DIR}/scripts/demo $<TARGET_FILE:mrp_cli>)
    set_tests_properties(demo PROPERTIES TIMEOUT 120)
  endif()
  add_test(NAME manual COMMAND ${PROJECT_SOURCE_DIR}/scripts/test-manual $<TARGET_FILE:mrp_cli>)
  set_tests_properties(manual PROPERTIES TIMEOUT 120 SKIP_RETURN_CODE 77)
  find_program(MRP_SYSTEMD_ANALYZE systemd-analyze)
  if(MRP_SYSTEMD_ANALYZE)
    add_test(NAME service_exposure COMMAND
      ${MRP_SYSTEMD_ANALYZE} security --offline=true --threshold=20
      ${PROJECT_BINARY_DIR}/mrp-agent.service)
  endif()
endif()
