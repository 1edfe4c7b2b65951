// Requests of the application: from a service call to the machines.

#include <array>

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

// What a request asks of the Applicant, by its event: New, JoinIn, In, JoinMt, Mt, Lv.
constexpr std::array kRequested{MrpApplicantEvent::newRequest, MrpApplicantEvent::join,
                                MrpApplicantEvent::none,       MrpApplicantEvent::join,
                                MrpApplicantEvent::none,       MrpApplicantEvent::leave};

MrpApplicantEvent requestedBy(std::uint8_t event) {
  return event < kRequested.size() ? kRequested[event] : MrpApplicantEvent::none;
}

}  // namespace

void Service::request(MrpLib& lib, const MrpParameters& parameters) {
  const CurrentAttributeScope scope(env_);
  if (parameters.attributeEvent == kLeaveAllEvent) [[unlikely]]
    return requestLeaveAll(lib, parameters);
  if (env_.trace.isOn(8)) traceRequest();
  while (!lib.mrpOutIntfQueueEmpty()) {
    lib.mrpOutIntfQueueDeq();
    act(parameters);
  }
}

// The period is that of the interface that was current, drawn once.
void Service::requestLeaveAll(MrpLib& lib, const MrpParameters& parameters) {
  const Seconds period = machines_.leaveAll->leaveAllPeriod(env_.context->intfId());
  if (env_.trace.isOn(8)) traceRequest();
  while (!lib.mrpOutIntfQueueEmpty()) {
    const IntfId queued = lib.mrpOutIntfQueueDeq();
    const std::uint8_t type = parameters.attributeType;
    env_.contextIs(parameters.intfId, type, env_.values.txKey(type));
    sendLeaveAll(parameters, queued, period);
  }
}

void Service::traceRequest() const { MRP_TRACE(env_.trace, 8, "sendAttribute called"); }

void Service::act(const MrpParameters& parameters) {
  const std::uint8_t type = parameters.attributeType;
  const ValueRecords::Images& images = env_.values.images(type);
  const MrpAttribute attribute{parameters.intfId, type, images.txKey()};
  env_.contextIs(attribute.intfId, attribute.attributeType, attribute.attributeKey);
  const MrpApplicantEvent event = requestedBy(parameters.attributeEvent);
  if (event == MrpApplicantEvent::none) [[unlikely]]
    return actOtherwise(parameters);
  const Subject subject = drive(attribute, event, images);
  if (!subject) [[unlikely]]
    return;
  if (event == MrpApplicantEvent::leave) return deleteOnDefaultStates(subject);
  subject.record->valueIs(images.txImage());
}

// What is no event of the Applicant.
void Service::actOtherwise(const MrpParameters& parameters) {
  if (parameters.attributeEvent == kInternalLeaveEvent) return internalLeave();
  traceUnknown(parameters.attributeEvent);
}

void Service::traceUnknown(std::uint8_t event) const {
  MRP_TRACE(env_.trace, 4, "Event = " << +event << " not handled in sendAttributeIntf ");
}

// An event of the current attribute, whose record is made when there is none; gives that.
inline Subject Service::drive(const MrpAttribute& attribute, MrpApplicantEvent event,
                              const ValueRecords::Images& images) {
  const auto& [intf, type, key] = attribute;
  Subject subject = records_.is(intf, type, key, images);
  if (subject) subject.record = machines_.applicant->handleSending(subject, event);
  return subject;
}

// A running period of the type starts again.
void Service::sendLeaveAll(const MrpParameters& parameters, IntfId intf, Seconds period) {
  const std::uint8_t type = parameters.attributeType;
  MRP_TRACE(env_.trace, 7,
            "mrpSendAttribute: lvAllEvent_. intfId = " << intf << "attrType = " << +type);
  machines_.transmitter->sendAny(intf, type, Transmitter::intoFirst(kLeaveAllEvent));
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
