#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mrp/types/Applications.h"
#include "mrp/types/MrpEnums.h"
#include "platform/packet/EthAddr.h"

// Frames as a neighbour sends them, octet by octet.
namespace Bench {

using Octets = std::vector<std::uint8_t>;

constexpr std::uint8_t kJoinIn = 1;
constexpr std::uint8_t kLv = 5;

struct Identity {
  Platform::EthAddr addr;
  std::uint16_t etype;
};
Identity identityOf(Mrp::MrpApplication application);

// `count` events, three to an octet.
Octets packedEvents(std::size_t count, std::uint8_t event);
// One vector of `count` VLANs from `first` on, all with `event`.
Octets vlanFrame(std::uint16_t first, std::uint16_t count, std::uint8_t event);
// A LeaveAll and nothing else.
Octets vlanLeaveAllFrame();
// Talker advertisements and listeners that are ready, a vector of `count` successive streams each.
Octets streamFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event);
// One of them alone.
Octets talkerFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event);
Octets listenerFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event);
// Classes B and A with the priorities of the standard.
Octets domainFrame(std::uint8_t event);
// A LeaveAll of talkers and listeners.
Octets streamLeaveAllFrame();

}  // namespace Bench
