#pragma once

#include <cstdint>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "platform/Export.h"
#include "platform/log/Trace.h"
#include "platform/packet/PktReader.h"

// FirstValue of an MSRP vector (IEEE 802.1Q-2018 35.2.2.8): reading it from a received packet, and
// stepping from the value of one attribute of the vector to that of the next.
namespace Mrp {

// Each consumes exactly the FirstValue of its attribute type. False when fewer octets are left:
// nothing is consumed and `value` is untouched. Reserved bits of priority and rank are dropped; a
// listener's event is not part of FirstValue and stays as it is.
bool parseTalkerAdvertise(Platform::PktReader& reader, MsrpTalkerAdvertiseAttribute& value);
bool parseTalkerFailed(Platform::PktReader& reader, MsrpTalkerFailedAttribute& value);
bool parseListener(Platform::PktReader& reader, MsrpListenerStreamAttribute& value);
bool parseListener(Platform::PktReader& reader, MsrpListenerAttribute& value);
bool parseDomain(Platform::PktReader& reader, MsrpDomainAttribute& value);

// The value that follows `value` in a vector. Stream IDs wrap at 64 bits, destination addresses at
// 48, SR class ID and priority (which advance together) at 8; all else is the same for the whole
// vector.
constexpr void increment(MsrpTalkerAdvertiseAttribute& value) {
  value.streamId = value.streamId + 1;
  value.frame.dmac = EthAddr::fromNumber(value.frame.dmac.number() + 1);
}
constexpr void increment(MsrpTalkerFailedAttribute& value) {
  increment(value.talkerAdvertiseAttribute);
}
constexpr void increment(MsrpListenerStreamAttribute& value) {
  value.streamId = value.streamId + 1;
}
constexpr void increment(MsrpListenerAttribute& value) { value.streamId = value.streamId + 1; }
constexpr void increment(MsrpDomainAttribute& value) {
  ++value.srClassId;
  ++value.srClassPriority;
}

// The same with a trace of the new value at level 8.
void mrpIncrementTalkerAttribute(MsrpTalkerAdvertiseAttribute& value, Platform::Trace& trace);
void mrpIncrementTalkerAdvertise(MsrpTalkerAdvertiseAttribute& value, Platform::Trace& trace);
void mrpIncrementTalkerFailed(MsrpTalkerFailedAttribute& value, Platform::Trace& trace);
void mrpIncrementListenerVector(MsrpListenerAttribute& value, Platform::Trace& trace);
void mrpIncrementDomainVector(MsrpDomainAttribute& value, Platform::Trace& trace);

}  // namespace Mrp
