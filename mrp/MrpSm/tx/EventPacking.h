#pragma once

#include <cstddef>
#include <cstdint>

#include "mrp/MrpSm/tx/MrpTxPacketContext.h"
#include "mrp/types/MrpEnums.h"

// Packed events of a vector (IEEE 802.1Q-2018 10.8.2). A three-packed octet holds three events
// 0..5 as base-6 digits, the first value's event weighing 36; a four-packed octet holds four
// listener events 0..3, the first in the two highest bits. Unused places are 0.
namespace Mrp {

// Writes the event of value `n`, counted from 1, and keeps the other events of its octet.
void mrpEncodeThreePackedEvent(std::uint8_t* eventsStart, std::uint8_t event, unsigned n);
void mrpEncodeFourPackedEvent(std::uint8_t* eventsStart, MsrpListenerEvent event, unsigned n);

// Append one value to the current vector: its event (and a listener's event) is packed and
// NumberOfValues grows by one, LeaveAll stays as it is. An octet that is opened is cleared first.
// The result is the number of octets by which the vector grew.
std::size_t mrpPackThreePackedEvent(MrpTxPacketContext& context, std::uint8_t attributeType,
                                    std::uint8_t event, MrpApplication application);
// For a listener vector: the four-packed octets follow the three-packed ones without a gap, and
// move up when those grow.
std::size_t mrpPackThreeAndFourPackedEvent(MrpTxPacketContext& context, std::uint8_t event,
                                           MsrpListenerEvent listenerEvent);

}  // namespace Mrp
