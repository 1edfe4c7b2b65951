#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"

#include <cstdlib>

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {

// The factor is computed in single precision and the product in double: part of the behaviour.
Seconds getLeaveAllTime(const MrpSm& mrpSm, IntfId intf) {
  const MrpConfig& config = *mrpSm.mrpConfig();
  Seconds base = config.intfLeaveAllTime(intf);
  if (base == Seconds()) base = config.leaveAllTime();
  if (std::getenv("DISABLE_LEAVE_ALL_RANDOMIZATION")) return base;
  const float factor = 1.0f + static_cast<float>(std::rand()) * 0x1p-32f;
  return Seconds(base.value() * static_cast<double>(factor));
}

MrpLeaveAllSm::MrpLeaveAllSm(MrpSm& mrpSm, Ptr<MrpConfig> mrpConfig,
                             Ptr<Platform::TimerWheel> timerWheel)
    : mrpSm_(mrpSm), mrpConfig_(std::move(mrpConfig)), timerWheel_(std::move(timerWheel)) {
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

// All types of a port start with one and the same period.
void MrpLeaveAllSm::mrpEnableLeaveAllPending(IntfId intf) {
  MRP_TRACE(mrpSm_.trace(), 8, "MrpLeaveAllSm::mrpEnableLeaveAllPending( " << intf << " )");
  const Seconds period = getLeaveAllTime(mrpSm_, intf);
  for (std::uint8_t type = 1; type <= mrpSm_.maxAttrTypes(); ++type) {
    mrpEnableLeaveAllPendingAttrType(intf, type, period);
  }
}

void MrpLeaveAllSm::mrpEnableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type,
                                                     Seconds period) {
  Ptr<MrpIntfLeaveAllSm>& sm = intfLeaveAllSm_.is(intf);
  if (!sm) sm = Platform::makePtr<MrpIntfLeaveAllSm>(intf, mrpSm_, timerWheel_);
  sm->leaveAllPendingIs(type, period);
}

void MrpLeaveAllSm::mrpDisableLeaveAllPending(IntfId intf) {
  for (std::uint8_t type = 1; type <= mrpSm_.maxAttrTypes(); ++type) {
    mrpDisableLeaveAllPendingAttrType(intf, type);
  }
}

void MrpLeaveAllSm::mrpDisableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type) {
  MrpIntfLeaveAllSm* sm = intfLeaveAllSm(intf);
  if (!sm) return;
  sm->leaveAllPendingDel(type);
  mrpSm_.applicationDatabase()->leaveAllTimeDel({intf, type});
  if (sm->leaveAllPending().empty()) intfLeaveAllSm_.del(intf);
}

void MrpLeaveAllSm::mrpPostLeaveAllToSm(IntfId intf, std::uint8_t type,
                                        MrpApplicantEvent applicantEvent,
                                        MrpRegistrarEvent registrarEvent) {
  MRP_ASSERT_TEXT(applicantEvent != MrpApplicantEvent::rxLvAll_ &&
                      registrarEvent != MrpRegistrarEvent::regLvAll_,
                  "applicantEvent != rxLvAll_ && registrarEvent != regLvAll_");
  MrpApplicantSm& applicant = *mrpSm_.applicantSm();
  MrpRegistrarSm& registrar = *mrpSm_.registrarSm();
  mrpSm_.walkAttributes(intf, type, [&](MrpAttrDatabase& record) {
    MRP_TRACE(mrpSm_.trace(), 7,
              "PostLeaveAllToSm: attributeKey = 0x" << std::hex << record.attributeKey() << std::dec
                                                    << " Type= " << +type
                                                    << "interface = " << intf);
    mrpSm_.contextIs(intf, type, record);
    applicant.applicantEventIs(applicantEvent);
    applicant.handleApplicantEvent(record);
    registrar.registrarEventIs(registrarEvent);
    registrar.handleRegistrarEvent(record);
  });
}

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
  MRP_TRACE(mrpSm_.trace(), 8, "MrpLeaveAllSm::handleCfgTimersEnabled()");
}

}  // namespace Mrp
