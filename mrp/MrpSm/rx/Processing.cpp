// What a parsed PDU does, in a fixed order: its LeaveAlls, a transmission of what they caused,
// domains, all else in order of arrival.

#include <new>

#include "mrp/MrpSm/rx/Receiver.h"
#include "mrp/MrpSm/sm/MrpApplicantSm.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "platform/reactor/Collection.h"

namespace Mrp {

void Receiver::processParsedAttributes(IntfId intf) {
  MRP_TRACE(env_.trace, 8, "MrpSm::processedParsedAttributes( " << intf);
  processRxLeaveAlls(intf);
  machines_.outbox.flush(intf);
  // A domain is settled before the streams that depend on it.
  for (Queue* queue : {&firstQueue_, &queue_}) {
    for (const std::uint32_t position : *queue) {
      const MrpParsedAttribute& parsed = staged_.at(position);
      // An indication has closed the port: what is left would register on a dead one, or on what
      // has been opened in its place.
      if (closed_) {
        env_.discarded(MrpObserver::Reason::portClosed,
                       {intf, parsed.attributeType, parsed.attributeKey});
        continue;
      }
      try {
        processParsedAttribute(parsed, intf);
      } catch (const std::bad_alloc&) {
        outOfMemory({intf, parsed.attributeType, parsed.attributeKey});
      }
    }
    queue->clear();
  }
  staged_.delAll();
}

// A received LeaveAll puts off this station's own of that type by a full period.
void Receiver::processRxLeaveAlls(IntfId intf) {
  MrpLeaveAllSm& leaveAll = machines_.leaveAll;
  const Seconds period = leaveAll.leaveAllPeriod(intf);
  Platform::walkOrdered(rxLeaveAll_, [&](std::uint8_t type, bool) {
    processRxLeaveAll(intf, type);
    MrpIntfLeaveAllSm* sm = leaveAll.intfLeaveAllSm(intf);
    if (sm && sm->leaveAllPendingHas(type)) {
      sm->restart(type, period);
      MRP_TRACE(env_.trace, 8,
                " txLeaveAll repunched now = " << env_.clock.now() << " at = "
                                               << sm->leaveAllPending().at(type).expiryTime
                                               << " for type = " << +type << " on intf = " << intf);
    }
    rxLeaveAll_.erase(type);
  });
}

void Receiver::processParsedAttribute(const MrpParsedAttribute& parsed, IntfId intf) {
  const Subject subject = machines_.records.find(intf, parsed.attributeType, parsed.attributeKey);
  if (subject) {
    takeValue(parsed, subject.record);
    drive(subject, parsed.attributeEvent);
  } else {
    processUnknownAttribute(parsed, subject.types, intf);
  }
}

void Receiver::processUnknownAttribute(const MrpParsedAttribute& parsed,
                                       const MrpIntfTypeApplicant* types, IntfId intf) {
  const MrpAttribute attribute{intf, parsed.attributeType, parsed.attributeKey};
  if (types && machines_.records.refuses(*types, attribute.attributeKey)) return;
  takeValue(parsed, nullptr);
  const Subject added =
      machines_.records.add(attribute, env_.values.rxImage(attribute.attributeType));
  if (added) drive(added, parsed.attributeEvent);
}

// The receive record takes the staged value. So does the transmit record, that what the Applicant
// answers names this attribute; but where a value is stored this station keeps declaring that one.
// What a four-packed event says is always the received one.
inline void Receiver::takeValue(const MrpParsedAttribute& parsed, const MrpAttrDatabase* record) {
  const std::uint8_t* received = staged_.value(parsed).data();
  const bool stored = record && record->value().size() == parsed.valueSize &&
                      !env_.info.type(parsed.attributeType)->fourPacked;
  env_.values.takeImages(parsed.attributeType, received,
                         stored ? record->value().data() : received);
}

inline void Receiver::drive(Subject subject, std::uint8_t event) {
  env_.contextIs(subject.intf(), subject.type(), subject.key());
  env_.context->attributeEventIs(event);
  subject.record =
      machines_.applicant.handle(subject, MrpApplicantSm::mrpMapRxApplicantEvent(event));
  if (subject) machines_.registrar.handle(subject, MrpRegistrarSm::mrpMapRxRegistrarEvent(event));
}

// The Applicant is to see what the PDU itself declares: IN for an attribute that the same PDU
// joins, MT for any other. The Registrar works from its own state.
void Receiver::processRxLeaveAll(IntfId intf, std::uint8_t type) {
  MRP_TRACE(env_.trace, 8, "MrpSm::mrpProcessRxLeaveAll( " << intf << ", " << +type << " )");
  machines_.records.walk(intf, type, [&](Subject subject) {
    const std::uint64_t key = subject.key();
    MRP_TRACE(env_.trace, 7,
              "mrpProcessRxLeaveAll: attributeKey = 0x"
                  << std::hex << key << std::dec << " Type= " << +type << "interface = " << intf);
    machines_.records.currentIs(subject);
    const MrpParsedAttribute* parsed = staged_.find({type, key});
    const bool joined = parsed && MrpRegistrarSm::mrpMapRxRegistrarEvent(parsed->attributeEvent) <
                                      MrpRegistrarEvent::rLv;
    subject.record =
        machines_.applicant.handle(subject, MrpApplicantEvent::rxLvAll_,
                                   joined ? MrpRegistrarState::in : MrpRegistrarState::mt);
    if (subject) machines_.registrar.handle(subject, MrpRegistrarEvent::regLvAll_);
  });
}

}  // namespace Mrp
