#pragma once

#include "mrp/MrpMsrp/MsrpFirstValue.h"
#include "mrp/MrpMvrp/MvrpFirstValue.h"

// What reading a vector does with the values of each type: overloads, so that the code for a vector
// is written once.
namespace Mrp {

// Reads a FirstValue; false when the buffer cuts it off.
inline bool readFirstValue(Platform::PktReader& from, MsrpTalkerAdvertiseAttribute& value) {
  return parseTalkerAdvertise(from, value);
}
inline bool readFirstValue(Platform::PktReader& from, MsrpTalkerFailedAttribute& value) {
  return parseTalkerFailed(from, value);
}
inline bool readFirstValue(Platform::PktReader& from, MsrpListenerAttribute& value) {
  return parseListener(from, value);
}
inline bool readFirstValue(Platform::PktReader& from, MsrpDomainAttribute& value) {
  return parseDomain(from, value);
}
inline bool readFirstValue(Platform::PktReader& from, MvrpVlanAttribute& value) {
  return parseVlan(from, value);
}

template <class Value>
void traceFirstValue(Platform::Trace& trace, const Value& value) {
  MRP_TRACE(trace, 8, stringValue(value));
}
inline void traceFirstValue(Platform::Trace& trace, const MvrpVlanAttribute& value) {
  MRP_TRACE(trace, 8, "VlanVector vlanId = " << value.vlanId);
}

// Steps a receive record to the next value of its vector.
inline void nextValue(MsrpTalkerAdvertiseAttribute& value, Platform::Trace& trace) {
  mrpIncrementTalkerAdvertise(value, trace);
}
inline void nextValue(MsrpTalkerFailedAttribute& value, Platform::Trace& trace) {
  mrpIncrementTalkerFailed(value, trace);
}
inline void nextValue(MsrpListenerAttribute& value, Platform::Trace& trace) {
  mrpIncrementListenerVector(value, trace);
}
inline void nextValue(MsrpDomainAttribute& value, Platform::Trace& trace) {
  mrpIncrementDomainVector(value, trace);
}
inline void nextValue(MvrpVlanAttribute& value, Platform::Trace& trace) {
  mrpIncrementVlanVector(value, trace);
}

}  // namespace Mrp
