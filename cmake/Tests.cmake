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
  target_compile_options(mrp_tests PRIVATE -O0 -U_FORTIFY_SOURCE)
  # A model is what a test spends its time in.
  set_source_files_properties(tests/agent/NaiveStreams.cpp tests/agent/NaiveStreamsTest.cpp
    PROPERTIES COMPILE_OPTIONS -O1)
  target_compile_definitions(mrp_tests PRIVATE
    MRP_BINARY="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/mrp"
    MRP_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  target_link_libraries(mrp_tests PRIVATE
    $<TARGET_NAME_IF_EXISTS:mrp_cli_objects>
    ${internal_libraries} GTest::gmock GTest::gtest_main)
  if(TARGET mrp_cli)
    add_dependencies(mrp_tests mrp_cli)
  endif()
  # Discovered when ctest starts: a binary that cannot list its tests is a failed test run, not a failed link.
  gtest_discover_tests(mrp_tests
    NO_PRETTY_VALUES
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT 300)
endif()
