#pragma once

#include <string>
#include <vector>

#include "cli/replay/Application.h"

namespace ReplayTest {

// A folder that goes away with the test.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string path(const std::string& name) const { return path_ + "/" + name; }
  // Writes a file and gives its path.
  std::string file(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

std::string contentOf(const std::string& path);
// Path of a file of the source tree.
std::string source(const std::string& path);

struct Result {
  int status = 0;
  std::string out;
  std::string err;
};
// Runs the built command, LeaveAll periods as configured.
Result mrp(const std::vector<std::string>& arguments);

// A pcap file in microseconds, of frames with their times.
struct Packet {
  std::uint32_t seconds = 0;
  std::uint32_t microseconds = 0;
  Cli::Octets frame;
};
std::string pcap(const std::vector<Packet>& packets, std::uint32_t linkType = 1);

// A whole frame: MVRP's header, then `pdu` in hexadecimal.
Cli::Octets mvrpFrame(const std::string& pdu);
Cli::Octets octets(const std::string& hex);

}  // namespace ReplayTest
