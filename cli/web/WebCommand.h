#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Cli {

// What the command line of `mrp web` says.
struct WebCommand {
  std::string socket;
  std::string listen = "127.0.0.1:8417";
  std::vector<std::string> names;
};

// Until it is interrupted. Throws BadInput.
void serveWeb(const WebCommand& command, std::ostream& out);

}  // namespace Cli
