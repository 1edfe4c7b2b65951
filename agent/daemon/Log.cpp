#include "agent/daemon/Log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace Daemon {
namespace {

constexpr std::array<std::string_view, 4> kNames{"error", "warning", "info", "debug"};
constexpr std::array<std::string_view, 4> kPriorities{"<3>", "<4>", "<6>", "<7>"};

bool isJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (!stream || ::fstat(STDERR_FILENO, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

}  // namespace

std::string_view Log::name(Level level) { return kNames[static_cast<std::size_t>(level)]; }

std::optional<Log::Level> Log::level(std::string_view name) {
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (kNames[i] == name) return static_cast<Level>(i);
  }
  return std::nullopt;
}

// One write a line, so that lines of several processes do not mix.
Log::Sink standardErrorSink() {
  return [journal = isJournal()](Log::Level level, const std::string& text) {
    std::string line;
    if (journal) {
      line = std::string(kPriorities[static_cast<std::size_t>(level)]) + text;
    } else {
      line = "mrp agent: " + std::string(Log::name(level)) + ": " + text;
    }
    line += '\n';
    if (::write(STDERR_FILENO, line.data(), line.size()) < 0) {
      // Nobody reads it; there is nobody else to tell.
    }
  };
}

}  // namespace Daemon
