# The benchmarks, and the same ones on an engine that has its traces compiled out: `make bench` compares the two.
find_package(benchmark REQUIRED)

add_executable(mrp_bench ${bench_sources})
mrp_compile_flags(mrp_bench)
mrp_unity(mrp_bench)
target_link_libraries(mrp_bench PRIVATE ${internal_libraries} benchmark::benchmark)

add_library(mrp_no_trace_objects OBJECT EXCLUDE_FROM_ALL ${core_sources})
add_executable(mrp_bench_no_trace EXCLUDE_FROM_ALL ${bench_sources})
mrp_engine_flags(mrp_no_trace_objects)
mrp_compile_flags(mrp_bench_no_trace)
foreach(target mrp_no_trace_objects mrp_bench_no_trace)
  target_compile_definitions(${target} PRIVATE MRP_NO_TRACE)
endforeach()
set_target_properties(mrp_no_trace_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(mrp_bench_no_trace PRIVATE
  $<TARGET_NAME_IF_EXISTS:mrp_agent> mrp_embedded mrp_host mrp_no_trace_objects benchmark::benchmark)

# The far ends of the agent's wires: `make bench-net`.
if(TARGET mrp_linux)
  add_executable(mrp_net_bench EXCLUDE_FROM_ALL
    bench/net/main.cpp bench/Network.cpp bench/Frames.cpp bench/Measure.cpp)
  mrp_compile_flags(mrp_net_bench)
  target_link_libraries(mrp_net_bench PRIVATE ${internal_libraries} nlohmann_json::nlohmann_json)
endif()
