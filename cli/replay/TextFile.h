#pragma once

#include <string>

namespace Cli {

// Everything in a file. Throws BadInput when it cannot be read.
std::string readTextFile(const std::string& path);

}  // namespace Cli
