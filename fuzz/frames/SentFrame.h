#pragma once

#include <cstdint>
#include <span>

#include "mrp/types/MrpEnums.h"
#include "platform/packet/EthAddr.h"

namespace Fuzz {

struct Protocol {
  Mrp::MrpApplication application;
  std::uint64_t address;
  std::uint16_t etype;
};
inline constexpr Protocol kMsrp{Mrp::MrpApplication::msrp, 0x0180c200000e, 0x22ea};
inline constexpr Protocol kMvrp{Mrp::MrpApplication::mvrp, 0x0180c2000021, 0x88f5};

enum class Soundness : std::uint8_t {
  sound,
  // MVRP alone: a LeaveAll was added to a message of several vectors. The engine measures that
  // message's end mark with the size of its last vector, so that the mark and the message of the
  // LeaveAll stand inside the vectors before.
  markInsideVectors,
  broken,
};

// Follows a frame that an engine built, on its own account: header and version, messages in order
// of type, AttributeLength and AttributeListLength, vectors with legal events and no stray bits
// behind the last of them, end marks, and not an octet beyond.
Soundness soundnessOf(const Protocol& protocol, std::span<const std::uint8_t> frame);

}  // namespace Fuzz
