# Language level, warnings, hardening, sanitizers and the compiler cache.

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
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A walk that stands on the stack enters itself where it walks, and takes itself out at its end: g++ sees the former.
  list(APPEND mrp_warnings -Wno-dangling-pointer)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 sees an overlap in inlined std::string insertions where there is none ("x" + std::to_string(n)).
  list(APPEND mrp_warnings -Wno-restrict)
  # It takes the members of a std::variant's other alternatives for used when a temporary is moved.
  list(APPEND mrp_warnings -Wno-maybe-uninitialized)
endif()

# Programs are position independent whatever the compiler's default is.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# scripts/check-hardening reads it all off what was built. The sanitizers see more, and fortified functions would hide
# accesses from them.
option(MRP_HARDENING "Stack protector, fortified functions, read-only relocations, immediate binding" ON)
set(mrp_hardening_flags)
set(mrp_hardening_link_flags)
if(MRP_HARDENING AND NOT MRP_SANITIZE)
  set(mrp_hardening_flags
    -fstack-protector-strong
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  set(mrp_hardening_link_flags -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

set(mrp_sanitize_flags)
if(MRP_SANITIZE)
  set(mrp_sanitize_flags
    -fsanitize=${MRP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()

# The sanitizers' run-time libraries, and what the linker adds to hardening.
function(mrp_link_flags target)
  target_link_options(${target} PRIVATE ${mrp_sanitize_flags} ${mrp_hardening_link_flags})
endfunction()

# The standard library checks its preconditions. Sanitizer builds have that throughout. In other builds the tests have it
# and the objects they test have not, since those are the ones that are measured and installed.
function(mrp_library_assertions target)
  target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
endfunction()

# Flags of every target that holds code of ours. They stay private: no consumer inherits them.
function(mrp_compile_flags target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE
    ${mrp_warnings} ${mrp_hardening_flags} ${mrp_sanitize_flags})
  if(MRP_SANITIZE)
    mrp_library_assertions(${target})
  endif()
  if(MRP_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  mrp_link_flags(${target})
endfunction()

# The engine hands pairs of words around in registers. The vectoriser would join them on the stack, by a load that waits
# for two stores. Nobody replaces single functions of the shared library, so that its own calls are direct.
function(mrp_engine_flags target)
  mrp_compile_flags(${target})
  target_compile_options(${target} PRIVATE -fno-tree-slp-vectorize -fno-semantic-interposition)
endfunction()

# Of what is not the engine a sanitizer finds as much without the optimiser, which takes half the time of a build.
# Only optimised code can be fortified.
function(mrp_plain_when_sanitized target)
  if(MRP_SANITIZE)
    target_compile_options(${target} PRIVATE -O0 -U_FORTIFY_SOURCE)
  endif()
endfunction()

# Fewer and larger units: half the processor time of a whole build, and more of a small change. The environment may ask
# for it, as .ci/run does.
set(mrp_unity_default OFF)
if(DEFINED ENV{MRP_UNITY})
  set(mrp_unity_default $ENV{MRP_UNITY})
endif()
option(MRP_UNITY "Compile the files of the larger libraries several at a time" ${mrp_unity_default})
function(mrp_unity target)
  if(MRP_UNITY)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
    # A file's own types are no others' business when files are read together either.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
endfunction()

# The same with files of one folder only, for tests, whose helpers have short names; but not with files that have others'.
function(mrp_unity_by_folder target)
  cmake_parse_arguments(of "" "" "SOURCES;ALONE" ${ARGN})
  mrp_unity(${target})
  set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
  target_compile_options(${target} PRIVATE -Wno-shadow)
  foreach(source IN LISTS of_SOURCES)
    cmake_path(GET source FILENAME name)
    if(name IN_LIST of_ALONE)
      continue()
    endif()
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(GET folder FILENAME folder)
    math(EXPR count_${folder} "0${count_${folder}} + 1")
    math(EXPR group "${count_${folder}} / 8")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder}_${group})
  endforeach()
endfunction()

# Headers that most of a target's files include, read once. Every header still has to stand alone (scripts/check-headers).
function(mrp_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <functional> <map> <memory> <optional> <set> <sstream> <string> <vector> ${ARGN})
endfunction()
