#pragma once

#include <gtest/gtest.h>
#include <pcap/pcap.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace PlatformTest {

// Frames that arrive at an interface, with their tags, and a way to send some, independent of what
// is tested.
class Tap {
 public:
  using Octets = std::vector<std::uint8_t>;

  explicit Tap(const char* interface) : pcap_(pcap_create(interface, error_.data())) {
    pcap_set_snaplen(pcap_, 65535);
    pcap_set_immediate_mode(pcap_, 1);
    pcap_set_promisc(pcap_, 1);
    if (pcap_activate(pcap_) < 0) ADD_FAILURE() << pcap_geterr(pcap_);
    pcap_setdirection(pcap_, PCAP_D_IN);
    pcap_setnonblock(pcap_, 1, error_.data());
  }
  ~Tap() { pcap_close(pcap_); }
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

  bool send(std::span<const std::uint8_t> frame) {
    return pcap_inject(pcap_, frame.data(), frame.size()) >= 0;
  }
  std::vector<Octets> take() {
    std::vector<Octets> frames;
    pcap_dispatch(
        pcap_, -1,
        [](u_char* to, const pcap_pkthdr* header, const u_char* octets) {
          reinterpret_cast<std::vector<Octets>*>(to)->emplace_back(octets, octets + header->caplen);
        },
        reinterpret_cast<u_char*>(&frames));
    return frames;
  }
  // Waits until this very frame has arrived, five seconds at most.
  bool await(std::span<const std::uint8_t> frame) {
    for (int i = 0; i < 500; ++i) {
      for (const Octets& octets : take()) {
        if (std::equal(octets.begin(), octets.end(), frame.begin(), frame.end())) return true;
      }
      pollfd poll{pcap_get_selectable_fd(pcap_), POLLIN, 0};
      ::poll(&poll, 1, 10);
    }
    return false;
  }

 private:
  std::array<char, PCAP_ERRBUF_SIZE> error_{};
  pcap_t* pcap_;
};

}  // namespace PlatformTest
