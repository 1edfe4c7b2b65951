// Scenarios and status files of any text: a parsed result, or BadInput. What was parsed can be
// printed, and a status that was printed reads back as itself. The first octet of the input chooses
// the application and, of the rest, how much is the status file.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/BadInput.h"
#include "cli/replay/ScenarioReader.h"
#include "cli/replay/StatusFile.h"
#include "cli/replay/ValueFields.h"
#include "cli/replay/ValueText.h"
#include "fuzz/Check.h"

namespace {

using Mrp::MrpApplication;

// A file in memory that the readers find by its path.
class MemoryFile {
 public:
  MemoryFile() : fd_(::memfd_create("input", 0)), path_("/proc/self/fd/" + std::to_string(fd_)) {
    CHECK(fd_ >= 0);
  }
  ~MemoryFile() { ::close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const std::string& is(std::string_view text) {
    CHECK(::ftruncate(fd_, 0) == 0);
    CHECK(::pwrite(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    return path_;
  }

 private:
  int fd_;
  std::string path_;
};

// True when `read` gave a result.
template <class Read>
bool parsed(Read read) {
  try {
    read();
    return true;
  } catch (const Cli::BadInput& error) {
    CHECK(error.what()[0] != '\0');
    return false;
  }
}

void checkAction(const Cli::Action& action, const Cli::ScenarioLine& line,
                 MrpApplication application) {
  CHECK(action.at == line.at && action.at >= Platform::Seconds());
  for (const std::string& port : Cli::portsOf(action)) CHECK(!port.empty());
  const auto* request = std::get_if<Cli::RequestAction>(&action.what);
  if (!request) return;
  CHECK(request->type >= 1 && request->type <= Cli::infoOf(application).types.size());
  if (!request->value) return;
  CHECK(request->value->size() == Cli::valueSize(application, request->type));
  CHECK(!Cli::valueText(application, request->type, *request->value).empty());
}

void readScenario(const std::string& path, MrpApplication application, bool bridge) {
  parsed([&] {
    for (const Cli::ScenarioLine& line : Cli::readScenario(path, bridge)) {
      parsed([&] { Cli::frameOf(line); });
      parsed([&] { checkAction(Cli::actionOf(line, application), line, application); });
    }
  });
}

void readStatus(MemoryFile& file, std::string_view text, MrpApplication application) {
  std::vector<Cli::AttributeState> attributes;
  if (!parsed([&] { attributes = Cli::readStatus(file.is(text), application); })) return;
  const std::string printed = Cli::statusText(attributes, application);
  std::vector<Cli::AttributeState> again;
  CHECK(parsed([&] { again = Cli::readStatus(file.is(printed), application); }));
  CHECK(Cli::statusText(again, application) == printed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static MemoryFile file;
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  const auto application = data[0] & 1 ? MrpApplication::msrp : MrpApplication::mvrp;
  if (data[0] & 2) {
    readStatus(file, text, application);
  } else {
    readScenario(file.is(text), application, data[0] & 4);
  }
  return 0;
}
