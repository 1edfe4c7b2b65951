#include "cli/replay/PcapWriter.h"

#include <pcap/pcap.h>

#include <cstdio>

#include "cli/BadInput.h"

namespace Cli {
namespace {

constexpr int kSnapLength = 262144;
constexpr std::int64_t kSecond = 1'000'000'000;

}  // namespace

PcapWriter::PcapWriter(const std::string& path)
    : path_(path),
      capture_(pcap_open_dead_with_tstamp_precision(DLT_EN10MB, kSnapLength,
                                                    PCAP_TSTAMP_PRECISION_NANO)) {
  if (!capture_) throw BadInput(path, "no capture can be made");
  dumper_ = pcap_dump_open(capture_, path.c_str());
  if (dumper_) return;
  const std::string text = pcap_geterr(capture_);
  pcap_close(capture_);
  throw text.starts_with(path) ? BadInput(text) : BadInput(path, text);
}

PcapWriter::~PcapWriter() {
  pcap_dump_close(dumper_);
  pcap_close(capture_);
}

void PcapWriter::transmitted(Platform::Seconds time, const std::string&, OctetSpan frame) {
  pcap_pkthdr header{};
  header.ts.tv_sec = time.nanoseconds() / kSecond;
  header.ts.tv_usec = time.nanoseconds() % kSecond;  // nanoseconds in such a file
  header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
  pcap_dump(reinterpret_cast<u_char*>(dumper_), &header, frame.data());
}

void PcapWriter::finished(Platform::Seconds, const FinalState&) {
  if (pcap_dump_flush(dumper_) != 0 || std::ferror(pcap_dump_file(dumper_)) != 0) {
    throw BadInput(path_, "the frames could not be written");
  }
}

}  // namespace Cli
