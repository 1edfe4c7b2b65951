// Requests of the application: from a service call to the machines.

#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/service/Service.h"
#include "mrp/MrpSm/sm/MrpApplicantSm.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/MrpSm/tx/Transmitter.h"

namespace Mrp {
namespace {

// The current attribute, put back at the end of a request.
class CurrentAttributeScope {
 public:
  explicit CurrentAttributeScope(const Environment& env) : env_(env), current_(env.current()) {}
  ~CurrentAttributeScope() {
    env_.contextIs(current_.intfId, current_.attributeType, current_.attributeKey);
  }
  CurrentAttributeScope(const CurrentAttributeScope&) = delete;
  CurrentAttributeScope& operator=(const CurrentAttributeScope&) = delete;

 private:
  const Environment& env_;
  MrpAttribute current_;
};

}  // namespace

void Service::request(MrpLib& lib, const MrpParameters& parameters) {
  const CurrentAttributeScope scope(env_);
  // Of the interface that was current; drawn for those requests that use it.
  const bool leaveAll = parameters.attributeEvent == kLeaveAllEvent;
  const Seconds period =
      leaveAll ? machines_.leaveAll->leaveAllPeriod(env_.context->intfId()) : Seconds();
  if (env_.trace.isOn(8)) traceRequest();
  while (!lib.mrpOutIntfQueueEmpty()) act(parameters, lib.mrpOutIntfQueueDeq(), period);
}

void Service::traceRequest() const { MRP_TRACE(env_.trace, 8, "sendAttribute called"); }

inline void Service::act(const MrpParameters& parameters, IntfId queued, Seconds period) {
  const std::uint8_t type = parameters.attributeType;
  env_.contextIs(parameters.intfId, type, env_.values.txKey(type));
  switch (parameters.attributeEvent) {
    case static_cast<std::uint8_t>(MrpThreePackedEvent::newEvent):
      return declare(MrpApplicantEvent::newRequest);
    case static_cast<std::uint8_t>(MrpThreePackedEvent::joinIn):
    case static_cast<std::uint8_t>(MrpThreePackedEvent::joinMt):
      return declare(MrpApplicantEvent::join);
    case static_cast<std::uint8_t>(MrpThreePackedEvent::lv):
      return deleteOnDefaultStates(drive(MrpApplicantEvent::leave));
    case kLeaveAllEvent:
      return sendLeaveAll(parameters, queued, period);
    case kInternalLeaveEvent:
      return internalLeave();
    default:
      return traceUnknown(parameters.attributeEvent);
  }
}

void Service::traceUnknown(std::uint8_t event) const {
  MRP_TRACE(env_.trace, 4, "Event = " << +event << " not handled in sendAttributeIntf ");
}

// An event of the current attribute, whose record is made when there is none; gives that.
inline Subject Service::drive(MrpApplicantEvent event) {
  const auto& [intf, type, key] = env_.current();
  Subject subject = records_.is(intf, type, key, env_.values.rxImage(type));
  machines_.applicant->applicantEventIs(event);
  if (subject) subject.record = machines_.applicant->handle(subject, event);
  return subject;
}

inline void Service::declare(MrpApplicantEvent event) {
  if (const Subject subject = drive(event)) {
    subject.record->valueIs(env_.values.txImage(subject.type()));
  }
}

// A running period of the type starts again.
void Service::sendLeaveAll(const MrpParameters& parameters, IntfId intf, Seconds period) {
  const std::uint8_t type = parameters.attributeType;
  MRP_TRACE(env_.trace, 7,
            "mrpSendAttribute: lvAllEvent_. intfId = " << intf << "attrType = " << +type);
  machines_.transmitter->send(intf, type, kLeaveAllEvent, Transmitter::Into::first);
  env_.database.leaveAllTimeIs({intf, type}, period);
  MrpIntfLeaveAllSm* sm = machines_.leaveAll->intfLeaveAllSm(intf);
  if (!sm) return;
  sm->leaveAllPendingIs(type, period);
  sm->restart(type, period);
}

// The stream fields are traced for every application, MVRP too.
void Service::internalLeave() {
  const MrpAttribute current = env_.current();
  MRP_TRACE(env_.trace, 8,
            " Type = " << +current.attributeType << std::hex
                       << " Adv streamId = " << keyOf(env_.values.talkerAdvertise.tx)
                       << " Failed streamId = " << keyOf(env_.values.talkerFailed.tx) << std::dec
                       << " Listener Stream Id = " << env_.values.listener.tx);
  remove(current);
}

void Service::deleteOnDefaultStates() { deleteOnDefaultStates(records_.find(env_.current())); }

void Service::deleteOnDefaultStates(Subject subject) {
  if (!subject) return;
  MRP_TRACE(
      env_.trace, 6,
      " mrpDeleteAttrOnDefaultStates called. reg state= " << subject.record->registrarState());
  if (subject.record->atRest()) remove(subject.attribute());
}

void Service::remove(const MrpAttribute& attribute) {
  machines_.registrar->mrpDeleteAttrFromLeavePending(attribute);
  records_.deletePending(attribute);
}

}  // namespace Mrp
