#include "cli/replay/Action.h"

namespace Cli {

std::vector<std::string> portsOf(const Action& action) {
  return std::visit(
      []<class What>(const What& what) -> std::vector<std::string> {
        std::vector<std::string> ports;
        if constexpr (requires { what.ports; }) ports = what.ports;
        if constexpr (requires { what.port.has_value(); }) {
          if (what.port) ports.push_back(*what.port);
        } else if constexpr (requires { what.port; }) {
          ports.push_back(what.port);
        }
        return ports;
      },
      action.what);
}

}  // namespace Cli
