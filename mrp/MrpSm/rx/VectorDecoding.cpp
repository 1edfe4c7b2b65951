// Decoding of one vector (IEEE 802.1Q 10.8.2): FirstValue, then the packed events, each staged as a
// parsed attribute with the value that it applies to.

#include "mrp/MrpMsrp/MsrpFirstValue.h"
#include "mrp/MrpSm/engine/EventLogs.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

using Platform::PktReader;

constexpr std::size_t threePackedOctets(std::size_t n) { return n == 0 ? 0 : (n - 1) / 3 + 1; }
constexpr std::size_t fourPackedOctets(std::size_t n) { return n == 0 ? 0 : (n - 1) / 4 + 1; }

// Calls `visit(event, index)` for the first `n` events packed three to an octet.
template <class Visit>
void forEachThreePacked(const std::uint8_t* octets, std::uint32_t n, Visit visit) {
  for (std::uint32_t index = 0; index < n;) {
    const unsigned octet = *octets++;
    const std::uint8_t events[] = {static_cast<std::uint8_t>(octet / 36),
                                   static_cast<std::uint8_t>(octet / 6 % 6),
                                   static_cast<std::uint8_t>(octet % 6)};
    for (std::size_t i = 0; i < 3 && index < n; ++i, ++index) visit(events[i], index);
  }
}

// Steps a receive record to the next value of its vector.
void next(MsrpTalkerAdvertiseAttribute& value, Platform::Trace& trace) {
  mrpIncrementTalkerAdvertise(value, trace);
}
void next(MsrpTalkerFailedAttribute& value, Platform::Trace& trace) {
  mrpIncrementTalkerFailed(value, trace);
}
void next(MsrpListenerAttribute& value, Platform::Trace& trace) {
  mrpIncrementListenerVector(value, trace);
}
void next(MsrpDomainAttribute& value, Platform::Trace& trace) {
  mrpIncrementDomainVector(value, trace);
}
void next(MvrpVlanAttribute& value, Platform::Trace& trace) {
  mrpIncrementVlanVector(value, trace);
}

}  // namespace

// What MrpLib::mrpValueFromFirstValue and mrpGetRxAttributeKey do for the current type, with the
// type known.
template <class Value>
void MrpSm::processMrpEvent(Value& value, std::uint8_t event, std::uint32_t index) {
  if (index > 0) next(value, trace());
  parseContext_->attributeKeyIs(keyOf(value));
  parseContext_->attributeEventIs(event);
  parseContext_->eventsCounterInc(1);
  if (recycledPkt_ || mrpStatus_->flood()) {
    MRP_TRACE(trace(), 8, "Recycled Pkt. Returning after parsing");
    return;
  }
  saveParsedMrpAttribute();
}

// `value` is the receive record that holds the FirstValue.
template <class Value>
MrpParseStatus MrpSm::parseThreePackedEvents(Pkt& pkt, Value& value) {
  const std::uint16_t n = parseContext_->numberOfValues();
  const std::size_t packed = threePackedOctets(n);
  if (n == 0) leaveAllOnlyVector();
  if (packed > pkt.size()) return malformedVector(packed, pkt.size());
  forEachThreePacked(pkt.data(), n, [&](std::uint8_t event, std::uint32_t index) {
    processMrpEvent(value, event, index);
  });
  parseContext_->attributeListBytesLeftDec(packed + parseContext_->attributeLength() +
                                           kVectorHeaderSize);
  pkt.headDel(packed);
  return mrpParseContinue;
}

MrpParseStatus MrpSm::parseMvrpVector(Pkt& pkt) {
  if (parseContext_->attributeType() != static_cast<std::uint8_t>(MvrpAttrType::vlan)) {
    return unidentifiedAttributeType();
  }
  PktReader reader(pkt);
  if (!parseVlan(reader, mrpLib_->mvrpVlanVectorRx())) return firstValueCutOff(pkt);
  MRP_TRACE(trace(), 8, "VlanVector vlanId = " << mrpLib_->mvrpVlanVectorRx().vlanId);
  return parseThreePackedEvents(pkt, mrpLib_->mvrpVlanVectorRx());
}

MrpParseStatus MrpSm::parseMsrpVector(Pkt& pkt) {
  PktReader reader(pkt);
  switch (static_cast<MsrpAttrType>(parseContext_->attributeType())) {
    case MsrpAttrType::talkerAdvertise:
      if (!parseTalkerAdvertise(reader, mrpLib_->msrpTalkerAdvertiseRx())) break;
      MRP_TRACE(trace(), 8, stringValue(mrpLib_->msrpTalkerAdvertiseRx()));
      return parseThreePackedEvents(pkt, mrpLib_->msrpTalkerAdvertiseRx());
    case MsrpAttrType::talkerFailed:
      if (!parseTalkerFailed(reader, mrpLib_->msrpTalkerFailedRx())) break;
      MRP_TRACE(trace(), 8, stringValue(mrpLib_->msrpTalkerFailedRx()));
      return parseThreePackedEvents(pkt, mrpLib_->msrpTalkerFailedRx());
    case MsrpAttrType::listener:
      if (!parseListener(reader, mrpLib_->msrpListenerVectorRx())) break;
      MRP_TRACE(trace(), 8, stringValue(mrpLib_->msrpListenerVectorRx()));
      return parseThreeFourPackedEvents(pkt);
    case MsrpAttrType::domain:
      if (!parseDomain(reader, mrpLib_->msrpDomainVectorRx())) break;
      MRP_TRACE(trace(), 8, stringValue(mrpLib_->msrpDomainVectorRx()));
      return parseThreePackedEvents(pkt, mrpLib_->msrpDomainVectorRx());
    default:
      return unidentifiedAttributeType();
  }
  return firstValueCutOff(pkt);
}

// What is left of a FirstValue that the buffer cuts off is no end mark.
MrpParseStatus MrpSm::firstValueCutOff(Pkt& pkt) {
  pkt.headDel(pkt.size());
  return malformed();
}

MrpParseStatus MrpSm::unidentifiedAttributeType() {
  const unsigned type = parseContext_->attributeType();
  MRP_TRACE(trace(), 4, " ######## Unidentified attribute type = " << type);
  mrpCounters_->numOfUnknownAttributeTypeInc();
  logEvent(eventLog(), kMrpError, [&] {
    return formatText("Unidentified attribute type %d received on %s", type,
                      parseContext_->intfId().name());
  });
  return mrpParseContinue;
}

// The log's first number is the octets that the events need, not the number of values.
MrpParseStatus MrpSm::malformedVector(std::size_t packed, std::size_t left) {
  parseContext_->attributeListBytesLeftIs(0);
  logEvent(eventLog(), kMrpError, [&] {
    return formatText("Number of values %d does not match with the packet bytes %d received on %s",
                      packed, left, parseContext_->intfId().name());
  });
  return malformed();
}

// A vector that is a LeaveAll alone stages nothing; the context passes through the LeaveAll event.
void MrpSm::leaveAllOnlyVector() {
  parseContext_->attributeKeyIs(0);
  if (parseContext_->leaveAll() != 1) return;
  parseContext_->attributeEventIs(kLeaveAllEvent);
  parseContext_->eventsCounterInc(1);
  parseContext_->attributeEventIs(static_cast<std::uint8_t>(MrpThreePackedEvent::in));
}

MrpParseStatus MrpSm::parseThreeFourPackedEvents(Pkt& pkt) {
  const std::uint16_t n = parseContext_->numberOfValues();
  const std::size_t three = threePackedOctets(n);
  const std::size_t total = three + fourPackedOctets(n);
  if (n == 0) leaveAllOnlyVector();
  if (total > pkt.size()) return malformedVector(total, pkt.size());
  forEachThreePacked(pkt.data(), n, [&](std::uint8_t event, std::uint32_t index) {
    processThreeAndFourPacked(pkt, event, index, three);
  });
  MRP_TRACE(trace(), 8,
            " attributeListBytesLeft before accounting this vector ="
                << parseContext_->attributeListBytesLeft());
  parseContext_->attributeListBytesLeftDec(total + parseContext_->attributeLength() +
                                           kVectorHeaderSize);
  pkt.headDel(total);
  return mrpParseContinue;
}

void MrpSm::processThreeAndFourPacked(const Pkt& pkt, std::uint8_t event, std::uint32_t index,
                                      std::size_t fourPackedOffset) {
  const unsigned octet = pkt.data()[fourPackedOffset + index / 4];
  const unsigned declaration = octet >> (6 - 2 * (index % 4)) & 3;
  MsrpListenerAttribute& value = mrpLib_->msrpListenerVectorRx();
  value.listenerEventIs(static_cast<MsrpListenerEvent>(declaration));
  processMrpEvent(value, event, index);
}

// A key that comes twice keeps one record, with the later event and value, and is queued twice.
void MrpSm::saveParsedMrpAttribute() {
  const std::uint8_t type = parseContext_->attributeType();
  const std::uint32_t position =
      mrpParsedAttribute_.is({type, parseContext_->attributeKey()}, parseContext_->attributeEvent(),
                             mrpLib_->rxImage(type));
  const bool domain = mrpLib_->application() == MrpApplication::msrp &&
                      type == static_cast<std::uint8_t>(MsrpAttrType::domain);
  (domain ? msrpParsedDomainKey_ : mrpParsedAttributeKey_).enq(position);
}

}  // namespace Mrp
