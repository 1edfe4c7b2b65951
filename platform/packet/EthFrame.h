#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

#include "platform/packet/EthAddr.h"

// The layout of an Ethernet frame: destination, source, at most one tag, EtherType (IEEE 802.3
// clause 3, IEEE 802.1Q clause 9). Offsets and lengths are in octets.
namespace Platform::EthFrame {

inline constexpr std::size_t kAddress = 6;
inline constexpr std::size_t kDestination = 0;
inline constexpr std::size_t kSource = kAddress;
inline constexpr std::size_t kEtherType = 2 * kAddress;  // offset; a tag stands there, too
inline constexpr std::size_t kHeader = kEtherType + 2;
inline constexpr std::size_t kTag = 4;  // protocol identifier and control information
inline constexpr std::uint16_t kTpid8021q = 0x8100;

// The number in the two octets from `offset` on, which must be there.
constexpr std::uint16_t u16(std::span<const std::uint8_t> frame, std::size_t offset) {
  return static_cast<std::uint16_t>(frame[offset] << 8 | frame[offset + 1]);
}

// Where the EtherType stands, behind an IEEE 802.1Q tag if there is one; none when the frame is too
// short to have one there.
constexpr std::optional<std::size_t> etherTypeOffset(std::span<const std::uint8_t> frame) {
  if (frame.size() < kHeader) return std::nullopt;
  if (u16(frame, kEtherType) != kTpid8021q) return kEtherType;
  if (frame.size() < kHeader + kTag) return std::nullopt;
  return kEtherType + kTag;
}

// The source address of a frame that has room for a header.
inline EthAddr sourceOf(std::span<const std::uint8_t> frame) {
  std::array<std::uint8_t, kAddress> octets;
  std::memcpy(octets.data(), frame.data() + kSource, octets.size());
  return EthAddr(octets);
}

}  // namespace Platform::EthFrame
