#pragma once

#include "mrp/MrpMvrp/MvrpValues.h"
#include "platform/log/Trace.h"
#include "platform/packet/PktReader.h"

// FirstValue of an MVRP vector (IEEE 802.1Q-2018 11.2.3): reading it from a received packet, and
// stepping from the value of one attribute of the vector to that of the next.
namespace Mrp {

// Reads a FirstValue. False when fewer than 2 octets are left: nothing is consumed and `value` is
// untouched.
bool parseVlan(Platform::PktReader& reader, MvrpVlanAttribute& value);

// The value that follows `value` in a vector; wraps at 16 bits, 4095 is not special.
constexpr void increment(MvrpVlanAttribute& value) {
  value.vlanId = static_cast<std::uint16_t>(value.vlanId + 1);
}
// The same with a trace of the new value at level 8.
void traceVlanVector(const MvrpVlanAttribute& value, Platform::Trace& trace);
inline void mrpIncrementVlanVector(MvrpVlanAttribute& value, Platform::Trace& trace) {
  increment(value);
  if (trace.isOn(8)) traceVlanVector(value, trace);
}

}  // namespace Mrp
