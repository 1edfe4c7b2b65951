#include "cli/replay/TextFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "cli/BadInput.h"

namespace Cli {

std::string readTextFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  // A directory opens, but does not read; an empty file leaves the stream without a character.
  if (file && file.peek() != std::ifstream::traits_type::eof()) text << file.rdbuf();
  if (!file.is_open() || file.bad() || errno != 0) {
    throw BadInput(path, errno != 0 ? std::strerror(errno) : "cannot be read");
  }
  return std::move(text).str();
}

}  // namespace Cli
