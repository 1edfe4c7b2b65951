#include "mrp/MrpMsrp/MsrpFirstValue.h"

#include <ios>

namespace Mrp {
namespace {

void dropReservedBits(MsrpTalkerAdvertiseAttribute& value) {
  value.priorityAndRank = PriorityAndRank::fromReceived(value.priorityAndRank.octet());
}

}  // namespace

bool parseTalkerAdvertise(Platform::PktReader& reader, MsrpTalkerAdvertiseAttribute& value) {
  if (!reader.octets(&value, sizeof value)) return false;
  dropReservedBits(value);
  return true;
}

bool parseTalkerFailed(Platform::PktReader& reader, MsrpTalkerFailedAttribute& value) {
  if (!reader.octets(&value, sizeof value)) return false;
  dropReservedBits(value.talkerAdvertiseAttribute);
  return true;
}

bool parseListener(Platform::PktReader& reader, MsrpListenerStreamAttribute& value) {
  return reader.octets(&value, sizeof value);
}

bool parseListener(Platform::PktReader& reader, MsrpListenerAttribute& value) {
  return reader.octets(&value.streamId, sizeof value.streamId);
}

bool parseDomain(Platform::PktReader& reader, MsrpDomainAttribute& value) {
  return reader.octets(&value, sizeof value);
}

void mrpIncrementTalkerAttribute(MsrpTalkerAdvertiseAttribute& value, Platform::Trace& trace) {
  const EthAddr original = value.frame.dmac;
  increment(value);
  MRP_TRACE(trace, 8,
            std::hex << "original dmac = " << original.number()
                     << ", converted dmac = " << value.frame.dmac.number());
}

void mrpIncrementTalkerAdvertise(MsrpTalkerAdvertiseAttribute& value, Platform::Trace& trace) {
  mrpIncrementTalkerAttribute(value, trace);
  MRP_TRACE(trace, 8, " TalkerAdvertiseAttribute = " << value);
}

void mrpIncrementTalkerFailed(MsrpTalkerFailedAttribute& value, Platform::Trace& trace) {
  mrpIncrementTalkerAttribute(value.talkerAdvertiseAttribute, trace);
  MRP_TRACE(trace, 8, " TalkerFailedAttribute = " << value);
}

void mrpIncrementListenerVector(MsrpListenerAttribute& value, Platform::Trace& trace) {
  increment(value);
  MRP_TRACE(trace, 8, " Listener stream Id = 0x" << std::hex << value.streamId);
}

void mrpIncrementDomainVector(MsrpDomainAttribute& value, Platform::Trace& trace) {
  increment(value);
  MRP_TRACE(trace, 8, " Domain vector = " << value);
}

}  // namespace Mrp
