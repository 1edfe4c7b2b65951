#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Cli {

// A script that completes the command line of `app` in a shell, "bash" or "zsh".
std::string completionScript(const CLI::App& app, const std::string& shell);

}  // namespace Cli
