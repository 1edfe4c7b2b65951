#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/replay/Application.h"

namespace Cli {

struct CapturedFrame {
  std::int64_t at = 0;  // nanoseconds since 1970
  Octets octets;
};

// Every packet of a pcap or pcapng file, in the file's order. Throws BadInput for a file that
// cannot be read to its end, for another link type than Ethernet, and for a time that does not fit.
std::vector<CapturedFrame> readCapture(const std::string& path);

}  // namespace Cli
