#include "cli/replay/CaptureReader.h"

#include <pcap/pcap.h>

#include <array>
#include <memory>

#include "cli/BadInput.h"

namespace Cli {
namespace {

struct Close {
  void operator()(pcap_t* capture) const { pcap_close(capture); }
};

// With nanosecond precision, tv_usec counts nanoseconds.
std::int64_t timeOf(const pcap_pkthdr& header, const std::string& where) {
  std::int64_t ns = 0;
  if (__builtin_mul_overflow(std::int64_t{header.ts.tv_sec}, std::int64_t{1'000'000'000}, &ns) ||
      __builtin_add_overflow(ns, std::int64_t{header.ts.tv_usec}, &ns)) {
    throw BadInput(where, "the time of the packet is out of range");
  }
  return ns;
}

}  // namespace

std::vector<CapturedFrame> readCapture(const std::string& path) {
  std::array<char, PCAP_ERRBUF_SIZE> error{};
  const std::unique_ptr<pcap_t, Close> capture(pcap_open_offline_with_tstamp_precision(
      path.c_str(), PCAP_TSTAMP_PRECISION_NANO, error.data()));
  if (!capture) {
    const std::string text = error.data();
    // The library names the file in some of its messages.
    throw text.starts_with(path) ? BadInput(text) : BadInput(path, text);
  }
  const int link = pcap_datalink(capture.get());
  if (link != DLT_EN10MB) {
    const char* name = pcap_datalink_val_to_name(link);
    throw BadInput(path, "the link type is " + (name ? std::string(name) : std::to_string(link)) +
                             ", not Ethernet");
  }
  std::vector<CapturedFrame> frames;
  pcap_pkthdr* header = nullptr;
  const u_char* data = nullptr;
  for (;;) {
    const std::string where = path + ": packet " + std::to_string(frames.size() + 1);
    const int result = pcap_next_ex(capture.get(), &header, &data);
    if (result == PCAP_ERROR_BREAK) return frames;
    if (result != 1) throw BadInput(where, pcap_geterr(capture.get()));
    frames.push_back({timeOf(*header, where), Octets(data, data + header->caplen)});
  }
}

}  // namespace Cli
