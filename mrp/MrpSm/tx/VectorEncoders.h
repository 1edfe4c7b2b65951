#pragma once

#include <cstdint>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "platform/log/Trace.h"

namespace Mrp {

struct Environment;

// Adds one event of `value` to an open packet: to the current vector when the value follows in
// sequence, else in a new vector of the message, or in a new message. A LeaveAll (kLeaveAllEvent)
// always opens a message of its own. A LeaveAll that is pending in the parse context rides on the
// first new vector written, whatever its port and type. Gives the octets packed so far.
template <class Value>
std::size_t addToPacket(MrpTxPacketContext& context, const Value& value, std::uint8_t event,
                        const Environment& env);

// Writes a whole new vector at the context's current vector and gives its octets.
template <class Value>
std::size_t writeVector(MrpTxPacketContext& context, const Value& value, std::uint8_t event,
                        const Environment& env);

// Traces at level 8 that an event is about to be added.
template <class Value>
void traceSending(Platform::Trace& trace, const Value& value, std::uint8_t event,
                  Platform::IntfId intf);

#define MRP_ENCODER(Value)                                                                 \
  extern template std::size_t addToPacket(MrpTxPacketContext&, const Value&, std::uint8_t, \
                                          const Environment&);                             \
  extern template std::size_t writeVector(MrpTxPacketContext&, const Value&, std::uint8_t, \
                                          const Environment&);                             \
  extern template void traceSending(Platform::Trace&, const Value&, std::uint8_t, Platform::IntfId);
MRP_ENCODER(MsrpTalkerAdvertiseAttribute)
MRP_ENCODER(MsrpTalkerFailedAttribute)
MRP_ENCODER(MsrpListenerAttribute)
MRP_ENCODER(MsrpDomainAttribute)
MRP_ENCODER(MvrpVlanAttribute)
#undef MRP_ENCODER

}  // namespace Mrp
