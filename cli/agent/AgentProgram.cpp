#include "cli/agent/AgentProgram.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

namespace Cli {
namespace {

// Beside this program, as it was built, or where it is installed.
std::filesystem::path agentProgram() {
  const std::filesystem::path folder =
      std::filesystem::read_symlink("/proc/self/exe").parent_path();
  std::filesystem::path built = folder / "mrp-agent";
  return std::filesystem::exists(built) ? built : folder / MRP_LIBEXEC_FROM_BIN / "mrp-agent";
}

}  // namespace

std::string becomeAgent(std::span<const char* const> arguments) {
  const std::string program = agentProgram().lexically_normal();
  std::vector<char*> all;
  for (const char* argument : arguments) all.push_back(const_cast<char*>(argument));
  all.push_back(nullptr);
  ::execv(program.c_str(), all.data());
  return program + ": " + std::strerror(errno);
}

}  // namespace Cli
