// What a parsed PDU does, in a fixed order: its LeaveAlls, a transmission of what they caused,
// domains, all else in order of arrival.

#include "mrp/MrpSm/engine/EventLogs.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "platform/reactor/Collection.h"

namespace Mrp {

void MrpSm::processParsedAttributes(IntfId intf) {
  MRP_TRACE(trace(), 8, "MrpSm::processedParsedAttributes( " << intf);
  processRxLeaveAlls(intf);
  mrpTransmitTxAttributes(intf);
  // A domain is settled before the streams that depend on it.
  for (KeyQueue* queue : {&msrpParsedDomainKey_, &mrpParsedAttributeKey_}) {
    while (!queue->empty()) {
      const std::uint32_t position = queue->deq();
      // An indication may have closed the port: what is left would register on a dead port.
      if (!mrpPamSm_->mrpIntfPamSmHas(intf)) continue;
      processParsedAttribute(MrpParsedAttribute(mrpParsedAttribute_.at(position)), intf);
    }
  }
  mrpParsedAttribute_.delAll();
}

// A received LeaveAll puts off this station's own of that type by a full period.
void MrpSm::processRxLeaveAlls(IntfId intf) {
  const Seconds period = getLeaveAllTime(*this, intf);
  Platform::walkOrdered(mrpRxLeaveAll_, [&](std::uint8_t type, bool) {
    mrpProcessRxLeaveAll(intf, type);
    MrpIntfLeaveAllSm* sm = leaveAllSm_->intfLeaveAllSm(intf);
    if (sm && sm->leaveAllPendingHas(type)) {
      sm->restart(type, period);
      MRP_TRACE(trace(), 8,
                " txLeaveAll repunched now = " << timerWheel_->clock().now().value() << " at = "
                                               << sm->leaveAllPending().at(type).expiryTime.value()
                                               << " for type = " << +type << " on intf = " << intf);
    }
    mrpRxLeaveAll_.erase(type);
  });
}

void MrpSm::processParsedAttribute(const MrpParsedAttribute& parsed, IntfId intf) {
  const std::uint8_t type = parsed.attributeType;
  const std::uint64_t key = parsed.attributeKey;
  MrpIntfTypeApplicant* types = typeApplicant(intf, type);
  MrpAttrDatabase* record = types ? types->visible(key) : nullptr;
  if (!record && types && refuses(*types, key)) return;
  fillMrpLibFromSavedValue(parsed, record);
  parseContext_->intfIdIs(intf);
  parseContext_->attributeTypeIs(type);
  parseContext_->attributeKeyIs(key);
  parseContext_->attributeEventIs(parsed.attributeEvent);
  if (!record) record = mrpAddAttrToDatabase(intf, type, key, false);
  applicantSm_->applicantEventIs(MrpApplicantSm::mrpMapRxApplicantEvent(parsed.attributeEvent));
  applicantSm_->handleApplicantEvent(*record);
  registrarSm_->registrarEventIs(MrpRegistrarSm::mrpMapRxRegistrarEvent(parsed.attributeEvent));
  registrarSm_->handleRegistrarEvent(*record);
}

// A hidden or vacant record of a neighbour's takes up its room already: its attribute may return.
bool MrpSm::refusesBeyondLimit(MrpIntfTypeApplicant& types, std::uint64_t key,
                               std::uint32_t limit) {
  const MrpAttrDatabase* present = types.any(key);
  if (present && !present->onlyDeclared()) return false;
  const IntfId intf = types.intfId();
  const unsigned type = types.attributeType();
  MRP_TRACE(trace(), 7,
            "Attribute limit " << limit << " reached on " << intf << ", Type= " << type
                               << " Key = 0x" << std::hex << key << std::dec << " -- ignoring");
  mrpCounters_->numOfRefusedEventsInc();
  const std::uint64_t events =
      refusedEvents_.add(intf, types.attributeType(), timerWheel_->clock().now());
  if (events == 0) return true;
  logEvent(eventLog(), kMrpError, [&] {
    return formatText("Attribute limit %d reached on %s, attrType: %d, events ignored: %d", limit,
                      intf.name(), type, events);
  });
  return true;
}

// The receive record takes the staged value. So does the transmit record, that what the Applicant
// answers names this attribute; but where a value is stored this station keeps declaring that one.
// A listener's declaration is always the received one.
void MrpSm::fillMrpLibFromSavedValue(const MrpParsedAttribute& parsed,
                                     const MrpAttrDatabase* record) {
  const std::span<std::uint8_t> rx = mrpLib_->rxImage(parsed.attributeType);
  if (rx.empty()) {
    MRP_TRACE(trace(), 4, " valueSize = 0!! ");
    return;
  }
  const std::uint8_t* received = mrpParsedAttribute_.value(parsed).data();
  copyOctets(rx.data(), received, rx.size());
  const bool listener = mrpLib_->application() == MrpApplication::msrp &&
                        parsed.attributeType == static_cast<std::uint8_t>(MsrpAttrType::listener);
  const bool stored = !listener && record && record->value().size() == rx.size();
  copyOctets(mrpLib_->txImage(parsed.attributeType).data(),
             stored ? record->value().data() : received, rx.size());
}

bool MrpSm::mrpRxVectorSameAs(const MrpAttrDatabase& record) {
  const std::span<std::uint8_t> image = mrpLib_->rxImage(parseContext_->attributeType());
  return !image.empty() && record.valueEquals(image);
}

bool MrpSm::mrpRxVectorSameAsDatabaseAttr() {
  const MrpAttrDatabase* record = mrpGetAttribute(false);
  return record && mrpRxVectorSameAs(*record);
}

}  // namespace Mrp
