#pragma once

#include <memory>
#include <optional>
#include <ostream>

namespace CLI {
class App;
}

namespace Cli {

// `mrp why`: asks an agent, or a replay of inputs.
class WhyCommand {
 public:
  explicit WhyCommand(CLI::App& app);
  ~WhyCommand();
  WhyCommand(const WhyCommand&) = delete;
  WhyCommand& operator=(const WhyCommand&) = delete;

  // Runs if the command line has named it, and gives the exit status. Wrong usage throws.
  std::optional<int> run(std::ostream& out, std::ostream& err);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace Cli
