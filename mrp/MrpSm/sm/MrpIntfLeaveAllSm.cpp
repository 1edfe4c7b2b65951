#include <algorithm>

#include "mrp/MrpSm/env/Environment.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "platform/reactor/Collection.h"

namespace Mrp {
namespace {

// A LeaveAll that would be due within this time is sent along with one that is due.
const Seconds kDueWithin{0.1};
const Seconds kRetry{0.1};

}  // namespace

MrpIntfLeaveAllSm::MrpIntfLeaveAllSm(IntfId intfId, MrpLeaveAllSm& all,
                                     Ptr<Platform::TimerWheel> timerWheel)
    : intfId_(intfId), all_(all), timerWheel_(std::move(timerWheel)) {
  leaveAllTimer_.bind<&MrpIntfLeaveAllSm::handleLeaveAllTimer>(this);
}

void MrpIntfLeaveAllSm::leaveAllPendingIs(std::uint8_t type, Seconds period) {
  auto [it, isNew] = leaveAllPending_.try_emplace(type);
  if (!isNew) return;
  it->second.attrType = type;
  due(type, it->second, period);
  doScheduleLeaveAllTimer(period);
}

void MrpIntfLeaveAllSm::leaveAllPendingDel(std::uint8_t type) {
  leaveAllPending_.erase(type);
  if (!leaveAllPending_.empty() || !leaveAllTimer_.armed()) return;
  leaveAllTimer_.cancel();
  deadline_ = Seconds::never();
  observeTimer(MrpObserver::TimerStep::stopped, now());
}

void MrpIntfLeaveAllSm::restart(std::uint8_t type, Seconds period) {
  auto it = leaveAllPending_.find(type);
  if (it == leaveAllPending_.end()) return;
  due(type, it->second, period);
  doScheduleLeaveAllTimer(period);
}

void MrpIntfLeaveAllSm::due(std::uint8_t type, MrpLeaveAllTimer& timer, Seconds period) {
  timer.expiryTime = now() + period;
  all_.env().database.leaveAllTimeIs({intfId_, type}, period);
}

void MrpIntfLeaveAllSm::deadlineIs(Seconds deadline) {
  deadline_ = deadline;
  timerWheel_->deadlineIs(leaveAllTimer_, deadline);
  observeTimer(MrpObserver::TimerStep::armed, deadline);
}

void MrpIntfLeaveAllSm::observeTimer(MrpObserver::TimerStep step, Seconds due) const {
  all_.env().observe(&MrpObserver::timer,
                     {MrpObserver::TimerKind::leaveAll, step, {intfId_, 0, 0}, due});
}

void MrpIntfLeaveAllSm::doScheduleLeaveAllTimer(Seconds delay) {
  const Seconds deadline = now() + delay;
  if (deadline <= deadline_) deadlineIs(deadline);
}

void MrpIntfLeaveAllSm::handleLeaveAllTimer() {
  const Ptr<MrpIntfLeaveAllSm> keep(this);
  observeTimer(MrpObserver::TimerStep::fired, now());
  const Seconds period = all_.leaveAllPeriod(intfId_);
  Seconds next = Seconds::never();
  Platform::walkOrdered(leaveAllPending_, [&](std::uint8_t type, MrpLeaveAllTimer&) {
    handleTxLeaveAll(type, period);
    if (auto it = leaveAllPending_.find(type); it != leaveAllPending_.end()) {
      next = std::min(next, it->second.expiryTime);
    }
  });
  all_.flush(intfId_);
  if (leaveAllPending_.empty()) return;
  deadlineIs(now() > next ? now() + kRetry : next);
}

void MrpIntfLeaveAllSm::handleTxLeaveAll(std::uint8_t type, Seconds period) {
  auto it = leaveAllPending_.find(type);
  if (it == leaveAllPending_.end()) return;
  if (it->second.expiryTime - now() >= kDueWithin) return;
  all_.sendLeaveAll(intfId_, type);
  it = leaveAllPending_.find(type);
  if (it != leaveAllPending_.end()) due(type, it->second, period);
}

void MrpIntfLeaveAllSm::handleCfgIntfLeaveAllTime() {
  const Seconds period = all_.leaveAllPeriod(intfId_);
  Platform::walkOrdered(leaveAllPending_,
                        [&](std::uint8_t type, MrpLeaveAllTimer&) { restart(type, period); });
}

}  // namespace Mrp
