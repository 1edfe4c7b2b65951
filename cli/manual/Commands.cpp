#include "cli/manual/Commands.h"

#include <algorithm>

namespace Cli {
namespace {

std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == at) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

}  // namespace

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

// Choices stand in the name of the type: "TEXT:{mvrp,msrp}", or "true|false" by itself.
std::string valueName(const CLI::Option& option) {
  if (option.get_expected_max() == 0) return {};
  const std::vector<std::string> choices = choicesOf(option);
  if (choices.empty()) {
    // The type of the value, and what a check calls it: "FLOAT:SECONDS", "LEVEL:INT in [0 - 9]".
    const std::string type = option.get_type_name();
    const std::size_t colon = type.find(':');
    const std::string own = type.substr(0, colon);
    const bool plain = own == "FLOAT" || own == "INT" || own == "UINT" || own == "TEXT";
    return plain && colon != std::string::npos ? type.substr(colon + 1) : own;
  }
  std::string name;
  for (const std::string& choice : choices) name += (name.empty() ? "" : "|") + choice;
  return name;
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
  const std::string name = option.get_type_name();
  const std::size_t open = name.find('{');
  const std::size_t close = name.find('}');
  if (open != std::string::npos && close != std::string::npos && open < close) {
    return split(name.substr(open + 1, close - open - 1), ',');
  }
  if (name.find('|') != std::string::npos) return split(name, '|');
  return {};
}

}  // namespace Cli
