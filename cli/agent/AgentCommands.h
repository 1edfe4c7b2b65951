#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <span>

namespace CLI {
class App;
}

namespace Cli {

// Exit statuses of the commands that talk to an agent, and of the agent itself.
namespace ExitStatus {
inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kUsage = 2;
inline constexpr int kNoAgent = 3;
}  // namespace ExitStatus

// The agent and the commands that talk to one.
class AgentCommands {
 public:
  // `arguments` is the command line, which outlives this.
  AgentCommands(CLI::App& app, std::span<const char* const> arguments);
  ~AgentCommands();
  AgentCommands(const AgentCommands&) = delete;
  AgentCommands& operator=(const AgentCommands&) = delete;

  // Runs the one that the command line has named, if any, and gives its exit status. Wrong usage
  // throws.
  std::optional<int> run(std::ostream& out, std::ostream& err);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace Cli
