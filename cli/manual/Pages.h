#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Cli {

// The manual page "mrp", "mrp-agent" or "mrp.toml". Commands, options and keys in it are those of
// `app` and of the table of keys.
std::string manualPage(const CLI::App& app, const std::string& name);

}  // namespace Cli
