#pragma once

#include <vector>

#include "platform/packet/EthAddr.h"
#include "platform/packet/SocketFilter.h"

namespace Platform {

// A filter that accepts whole frames to `address` whose EtherType is `etherType`, directly or
// behind one IEEE 802.1Q tag.
MRP_API std::vector<FilterInstruction> groupFilter(EthAddr address, std::uint16_t etherType);

}  // namespace Platform
