#pragma once

#include <deque>
#include <string>
#include <vector>

#include "agent/daemon/config/Load.h"

namespace CLI {
class App;
}

namespace Cli {

// The options of `mrp agent`: one for each key of the configuration.
class AgentOptions {
 public:
  void describe(CLI::App& app);
  std::vector<Daemon::OptionText> given() const;

  std::string file;
  bool check = false;

 private:
  struct Option {
    const Daemon::Key* key;
    std::string name;
    std::vector<std::string> texts;
    CLI::App* app;
  };
  std::deque<Option> options_;  // which stay where they are
};

}  // namespace Cli
