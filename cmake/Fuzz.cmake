# Each fuzz/*.cpp is a target fuzz_<name> that defines LLVMFuzzerTestOneInput; what else it consists of is in
# fuzz/<name>/, its corpus in fuzz/corpus/<name>/.
# Without libFuzzer a driver of our own runs the corpus and a fixed number of mutations of it, as a test.

file(GLOB fuzz_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/*.cpp)
set(fuzz_driver ${PROJECT_SOURCE_DIR}/fuzz/standalone/main.cpp)

if(MRP_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  message(FATAL_ERROR "MRP_FUZZ needs clang++ (cmake --preset fuzz)")
endif()

add_custom_target(fuzz_targets)

foreach(source IN LISTS fuzz_sources)
  get_filename_component(name ${source} NAME_WE)
  set(corpus ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
  file(GLOB parts CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/${name}/*.cpp)
  add_executable(fuzz_${name} ${source} ${parts})
  mrp_compile_flags(fuzz_${name})
  mrp_library_assertions(fuzz_${name})
  add_dependencies(fuzz_targets fuzz_${name})
  target_link_libraries(fuzz_${name} PRIVATE
    $<TARGET_NAME_IF_EXISTS:mrp_cli_objects> ${internal_libraries})
  if(MRP_FUZZ)
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(fuzz_${name} PRIVATE ${fuzz_driver})
    set(random 5000)
    if(MRP_SANITIZE)
      set(random 1000)
      if(name STREQUAL "bridges")
        set(random 250)  # whole bridges
      endif()
    endif()
    add_test(NAME fuzz_${name}
      COMMAND fuzz_${name} --random ${random} --seed 1 ${corpus})
    set_tests_properties(fuzz_${name} PROPERTIES TIMEOUT 900)
  endif()
endforeach()
