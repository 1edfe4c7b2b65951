#include "cli/agent/AgentOptions.h"

#include <CLI/CLI.hpp>

namespace Cli {
namespace {

bool isList(Daemon::Key::Type type) {
  return type == Daemon::Key::Type::texts || type == Daemon::Key::Type::vlans ||
         type == Daemon::Key::Type::perClass;
}

std::string typeName(const Daemon::Key& key) {
  if (!key.choices.empty()) return std::string(key.choices);
  switch (key.type) {
    case Daemon::Key::Type::boolean:
      return "true|false";
    case Daemon::Key::Type::seconds:
      return "SECONDS";
    case Daemon::Key::Type::count:
      return "NUMBER";
    case Daemon::Key::Type::texts:
      return "NAME,...";
    case Daemon::Key::Type::vlans:
      return "VLAN,...";
    case Daemon::Key::Type::perClass:
      return "6=NUMBER,5=NUMBER";
    default:
      return "TEXT";
  }
}

}  // namespace

// Values are checked together with those of the file, so that both are told of in the same way.
void AgentOptions::describe(CLI::App& app) {
  app.add_option("--config", file, "Configuration; otherwise /etc/mrp/mrp.toml when it is there")
      ->type_name("FILE");
  app.add_flag("--check", check, "Read the configuration, say what it comes to, and end");
  for (const Daemon::Key& key : Daemon::keys()) {
    std::string names;
    for (const std::string& name : key.options()) names += (names.empty() ? "" : ",") + name;
    if (names.empty()) continue;
    Option& option = options_.emplace_back(Option{&key, key.options().front(), {}, &app});
    CLI::Option* made = app.add_option(names, option.texts, std::string(key.help));
    made->type_name(typeName(key))->expected(1)->allow_extra_args(false);
    made->multi_option_policy(isList(key.type) ? CLI::MultiOptionPolicy::TakeAll
                                               : CLI::MultiOptionPolicy::Throw);
  }
}

std::vector<Daemon::OptionText> AgentOptions::given() const {
  std::vector<Daemon::OptionText> given;
  for (const Option& option : options_) {
    if (option.app->count(option.name) == 0) continue;
    given.push_back({option.key, option.name, option.texts});
  }
  return given;
}

}  // namespace Cli
