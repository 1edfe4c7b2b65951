# The agent on Linux: its control protocol, which the commands use too, and the daemon. They link no flavour of libmrp.
if(NOT TARGET mrp_linux)
  message(FATAL_ERROR "The agent needs libuv and libmnl: scripts/install-packages")
endif()
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(TOMLPP REQUIRED IMPORTED_TARGET tomlplusplus)
pkg_check_modules(NFTABLES REQUIRED IMPORTED_TARGET libnftables)
pkg_check_modules(CAPNG REQUIRED IMPORTED_TARGET libcap-ng)
find_package(Threads REQUIRED)

add_library(mrp_rpc STATIC ${rpc_sources})
mrp_compile_flags(mrp_rpc)
mrp_unity(mrp_rpc)
mrp_plain_when_sanitized(mrp_rpc)
mrp_precompile(mrp_rpc <nlohmann/json.hpp>)
target_link_libraries(mrp_rpc PUBLIC nlohmann_json::nlohmann_json PkgConfig::UV)

add_library(mrp_daemon STATIC ${daemon_sources})
mrp_compile_flags(mrp_daemon)
mrp_unity(mrp_daemon)
mrp_plain_when_sanitized(mrp_daemon)
mrp_precompile(mrp_daemon <nlohmann/json.hpp>)
target_link_libraries(mrp_daemon
  PUBLIC nlohmann_json::nlohmann_json PkgConfig::UV
  PRIVATE PkgConfig::SQLITE PkgConfig::TOMLPP PkgConfig::NFTABLES PkgConfig::CAPNG Threads::Threads)

configure_file(packaging/mrp-agent.service.in ${PROJECT_BINARY_DIR}/mrp-agent.service @ONLY)
