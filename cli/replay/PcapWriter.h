#pragma once

#include <memory>
#include <string>

#include "cli/replay/Output.h"

struct pcap;
struct pcap_dumper;

namespace Cli {

// Writes the frames that the engine sends to a nanosecond pcap file, at their virtual times.
class PcapWriter final : public Output {
 public:
  // Throws BadInput when the file cannot be created.
  explicit PcapWriter(const std::string& path);
  ~PcapWriter() override;

  void transmitted(Platform::Seconds time, const std::string& port, OctetSpan frame) override;
  // Throws BadInput when not everything could be written.
  void finished(Platform::Seconds time, const FinalState& state) override;

 private:
  std::string path_;
  pcap* capture_ = nullptr;
  pcap_dumper* dumper_ = nullptr;
};

}  // namespace Cli
