# Language level, warnings, sanitizers and the compiler cache.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# Our assertions are checked in every build; without NDEBUG so are those of what we use.
string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

option(MRP_WERROR "Treat warnings in our own code as errors" ON)
set(MRP_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined")

find_program(MRP_CCACHE ccache)
if(MRP_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${MRP_CCACHE})
endif()

set(mrp_warnings
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast)
if(MRP_WERROR)
  list(APPEND mrp_warnings -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 sees an overlap in inlined std::string insertions where there is none ("x" + std::to_string(n)).
  list(APPEND mrp_warnings -Wno-restrict)
  # It takes the members of a std::variant's other alternatives for used when a temporary is moved.
  list(APPEND mrp_warnings -Wno-maybe-uninitialized)
endif()

set(mrp_sanitize_flags)
if(MRP_SANITIZE)
  set(mrp_sanitize_flags
    -fsanitize=${MRP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()

# The sanitizers' run-time libraries.
function(mrp_link_flags target)
  target_link_options(${target} PRIVATE ${mrp_sanitize_flags})
endfunction()

# Flags of every target that holds code of ours. They stay private: no consumer inherits them.
function(mrp_compile_flags target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE ${mrp_warnings} ${mrp_sanitize_flags})
  if(MRP_SANITIZE)
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  endif()
  if(MRP_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  mrp_link_flags(${target})
endfunction()
