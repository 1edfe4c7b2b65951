#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace Cli {

// Subcommands that --help shows.
std::vector<const CLI::App*> commandsOf(const CLI::App& app);
// Options with a name, --help among them, and arguments by position.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app);
std::vector<const CLI::Option*> argumentsOf(const CLI::App& app);

// What an option takes: "PATH", "true|false", or "" for a flag.
std::string valueName(const CLI::Option& option);
// The values that are allowed, where they are few and known.
std::vector<std::string> choicesOf(const CLI::Option& option);

}  // namespace Cli
