#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "cli/replay/Application.h"

// The part of pcapng (IETF draft-ietf-opsawg-pcapng) that dumps are written in: little-endian, one
// section, an interface a port with times in nanoseconds, packets with their direction.
namespace Cli {

struct DumpedFrame {
  std::int64_t at = 0;  // nanoseconds since 1970
  std::string port;
  bool received = false;
  Octets octets;
};

class PcapngWriter {
 public:
  // Writes the section's header, with a comment.
  PcapngWriter(std::ostream& out, const std::string& program, const std::string& comment);
  // Ports are described as they come.
  void frame(const DumpedFrame& frame);

 private:
  std::uint32_t interfaceOf(const std::string& port);
  void block(std::uint32_t type, const std::string& body);

  std::ostream& out_;
  std::map<std::string, std::uint32_t> interfaces_;
};

// The frames of a file that the above has written. Throws BadInput for anything else.
std::vector<DumpedFrame> readPcapng(const std::string& path);

}  // namespace Cli
