// Captures of any octets: their packets, or BadInput. Every packet can be shown in words.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "cli/BadInput.h"
#include "cli/replay/CaptureReader.h"
#include "cli/replay/MrpduText.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int fd = ::memfd_create("capture", 0);
  CHECK(fd >= 0);
  CHECK(::ftruncate(fd, 0) == 0);
  CHECK(::pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
  try {
    std::size_t octets = 0;
    for (const auto& frame : Cli::readCapture("/proc/self/fd/" + std::to_string(fd))) {
      octets += frame.octets.size();
      for (const std::string& line : Cli::mrpduText(frame.octets)) CHECK(!line.empty());
    }
    CHECK(octets <= size);
  } catch (const Cli::BadInput& error) {
    CHECK(error.what()[0] != '\0');
  }
  return 0;
}
