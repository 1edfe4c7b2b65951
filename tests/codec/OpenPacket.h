#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "platform/packet/Pkt.h"

namespace Mrp::Test {

using Octets = std::vector<std::uint8_t>;

// A transmit context over a packet that holds the leavings of earlier use: whatever the writers do
// not write themselves reads 0xEE.
struct OpenPacket {
  static constexpr std::size_t kHeadRoom = 32;
  static constexpr std::size_t kDataRoom = 1500;

  OpenPacket() : context(Platform::IntfId("port1"), dirtyPkt()) {}

  static Platform::Ptr<Platform::Pkt> dirtyPkt() {
    auto pkt = Platform::makePtr<Platform::Pkt>(kHeadRoom + kDataRoom);
    pkt->reset(kHeadRoom);
    pkt->sizeIs(kDataRoom);
    std::fill_n(pkt->data(), kDataRoom, std::uint8_t{0xEE});
    return pkt;
  }

  std::uint8_t* data() { return context.pkt()->data(); }
  Octets octets(std::size_t from, std::size_t n) {
    return Octets(data() + from, data() + from + n);
  }
  void write(std::size_t at, const Octets& octets) {
    std::copy(octets.begin(), octets.end(), data() + at);
  }

  MrpTxPacketContext context;
};

}  // namespace Mrp::Test
