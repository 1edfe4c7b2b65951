#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"

#include "mrp/MrpSm/PeriodSource.h"
#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/sm/MrpApplicantSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/MrpSm/tx/Transmitter.h"

namespace Mrp {

MrpLeaveAllSm::MrpLeaveAllSm(const Machines& machines, Ptr<MrpConfig> mrpConfig,
                             Ptr<Platform::TimerWheel> timerWheel)
    : machines_(machines), mrpConfig_(std::move(mrpConfig)), timerWheel_(std::move(timerWheel)) {
  leaveAllTimeReactor_.watch<&MrpLeaveAllSm::handleCfgLeaveAllTime>(mrpConfig_->onLeaveAllTime(),
                                                                    this);
  intfLeaveAllTimeReactor_.watch<&MrpLeaveAllSm::handleCfgIntfLeaveAllTime>(
      mrpConfig_->onIntfLeaveAllTime(), this);
  timersEnabledReactor_.watch<&MrpLeaveAllSm::handleCfgTimersEnabled>(mrpConfig_->onTimersEnabled(),
                                                                      this);
  handleInitialized();
}

void MrpLeaveAllSm::handleInitialized() {
  MRP_ASSERT_TEXT(!initialized_, "!initialized()");
  initialized_ = true;
}

MrpIntfLeaveAllSm* MrpLeaveAllSm::intfLeaveAllSm(IntfId intf) const {
  const Ptr<MrpIntfLeaveAllSm>* sm = intfLeaveAllSm_.find(intf);
  return sm ? sm->get() : nullptr;
}

Seconds MrpLeaveAllSm::leaveAllPeriod(IntfId intf) const {
  const Seconds own = mrpConfig_->intfLeaveAllTime(intf);
  return machines_.periods.leaveAllPeriod(own == Seconds() ? mrpConfig_->leaveAllTime() : own);
}

// All types of a port start with one and the same period.
void MrpLeaveAllSm::mrpEnableLeaveAllPending(IntfId intf) {
  MRP_TRACE(env().trace, 8, "MrpLeaveAllSm::mrpEnableLeaveAllPending( " << intf << " )");
  const Seconds period = leaveAllPeriod(intf);
  for (const AttributeTypeInfo& type : env().info.types) {
    mrpEnableLeaveAllPendingAttrType(intf, type.type, period);
  }
}

void MrpLeaveAllSm::mrpEnableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type,
                                                     Seconds period) {
  Ptr<MrpIntfLeaveAllSm>& sm = intfLeaveAllSm_.is(intf);
  if (!sm) sm = Platform::makePtr<MrpIntfLeaveAllSm>(intf, *this, timerWheel_);
  sm->leaveAllPendingIs(type, period);
}

void MrpLeaveAllSm::mrpDisableLeaveAllPending(IntfId intf) {
  for (const AttributeTypeInfo& type : env().info.types) {
    mrpDisableLeaveAllPendingAttrType(intf, type.type);
  }
}

void MrpLeaveAllSm::mrpDisableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type) {
  MrpIntfLeaveAllSm* sm = intfLeaveAllSm(intf);
  if (!sm) return;
  sm->leaveAllPendingDel(type);
  env().database.leaveAllTimeDel({intf, type});
  if (sm->leaveAllPending().empty()) intfLeaveAllSm_.del(intf);
}

void MrpLeaveAllSm::mrpPostLeaveAllToSm(IntfId intf, std::uint8_t type,
                                        MrpApplicantEvent applicantEvent,
                                        MrpRegistrarEvent registrarEvent) {
  MRP_ASSERT_TEXT(applicantEvent != MrpApplicantEvent::rxLvAll_ &&
                      registrarEvent != MrpRegistrarEvent::regLvAll_,
                  "applicantEvent != rxLvAll_ && registrarEvent != regLvAll_");
  machines_.records.walk(intf, type, [&](Subject subject) {
    MRP_TRACE(env().trace, 7,
              "PostLeaveAllToSm: attributeKey = 0x" << std::hex << subject.key() << std::dec
                                                    << " Type= " << +type
                                                    << "interface = " << intf);
    machines_.records.currentIs(subject);
    subject.record = machines_.applicant.handleSending(subject, applicantEvent);
    if (subject) machines_.registrar.handle(subject, registrarEvent);
  });
}

void MrpLeaveAllSm::postToAllTypes(IntfId intf, MrpApplicantEvent applicantEvent,
                                   MrpRegistrarEvent registrarEvent) {
  for (const AttributeTypeInfo& type : env().info.types) {
    mrpPostLeaveAllToSm(intf, type.type, applicantEvent, registrarEvent);
  }
}

void MrpLeaveAllSm::sendLeaveAll(IntfId intf, std::uint8_t type) {
  MRP_TRACE(env().trace, 7,
            " handleTxLeaveAll. type = " << +type << " intfId = " << intf
                                         << " sendTxLvAllIs = " << env().context->sendTxLvAll());
  env().context->sendTxLvAllIs(true);
  mrpPostLeaveAllToSm(intf, type, MrpApplicantEvent::txLvAll, MrpRegistrarEvent::txLvAll);
  sendPending(intf, type);
}

// A LeaveAll that no new vector has taken along goes out bare.
void MrpLeaveAllSm::sendPending(IntfId intf, std::uint8_t type) {
  if (env().context->sendTxLvAll()) machines_.transmitter.sendLeaveAll(intf, type);
  env().context->sendTxLvAllIs(false);
}

void MrpLeaveAllSm::mrpAllLeaveAllSm(IntfId intf, std::uint8_t type) {
  env().context->sendTxLvAllIs(true);
  machines_.records.walk(intf, type, [&](Subject subject) {
    MRP_TRACE(env().trace, 7, "AllLeaveAllSm: attributeKey = 0x" << std::hex << subject.key());
    machines_.records.currentIs(subject);
    machines_.applicant.handleSending(subject, MrpApplicantEvent::txLvAll);
  });
  sendPending(intf, type);
}

void MrpLeaveAllSm::transmitAllLeaveAll(IntfId intf) {
  const Seconds period = leaveAllPeriod(intf);
  for (const AttributeTypeInfo& type : env().info.types) {
    mrpAllLeaveAllSm(intf, type.type);
    if (MrpIntfLeaveAllSm* sm = intfLeaveAllSm(intf)) sm->restart(type.type, period);
  }
  flush(intf);
}

void MrpLeaveAllSm::flush(IntfId intf) { machines_.transmitter.flush(intf); }

void MrpLeaveAllSm::handleCfgLeaveAllTime() {
  if (!hasNotificationActive()) return;
  intfLeaveAllSm_.walk(
      [this](IntfId intf, Ptr<MrpIntfLeaveAllSm>&) { handleCfgIntfLeaveAllTime(intf); });
}

void MrpLeaveAllSm::handleCfgIntfLeaveAllTime(IntfId intf) {
  if (!hasNotificationActive()) return;
  if (MrpIntfLeaveAllSm* sm = intfLeaveAllSm(intf)) sm->handleCfgIntfLeaveAllTime();
}

void MrpLeaveAllSm::handleCfgTimersEnabled() {
  if (!hasNotificationActive()) return;
  MRP_TRACE(env().trace, 8, "MrpLeaveAllSm::handleCfgTimersEnabled()");
}

}  // namespace Mrp
