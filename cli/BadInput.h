#pragma once

#include <stdexcept>
#include <string>

namespace Cli {

// What is wrong with an input file or an option, in one line that names the file and the line.
class BadInput : public std::runtime_error {
 public:
  explicit BadInput(const std::string& text) : std::runtime_error(text) {}
  BadInput(const std::string& where, const std::string& text)
      : std::runtime_error(where + ": " + text) {}
};

}  // namespace Cli
