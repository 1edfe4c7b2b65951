// The registrar's leave timers: arming, unmarking, expiry and cancelling.

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

namespace Mrp {
namespace {

using Step = MrpObserver::TimerStep;
using Kind = MrpObserver::TimerKind;

MrpAttribute attributeOf(MrpAttrDatabase& record) {
  const MrpIntfTypeApplicant& types = AttrTable::ownerOf(record);
  return {types.intfId(), types.attributeType(), record.attributeKey()};
}

// A timer whose expiry is being served, until that ends, however it ends.
class Expiry {
 public:
  Expiry(MrpLeaveSm& sm, MrpIntfTypeApplicant& types) : sm_(sm), types_(types) {
    sm_.expiringIs(true);
  }
  ~Expiry() {
    sm_.expiringIs(false);
    sm_.droppedIs(false);
    types_.leaveSmStopped(sm_.record());
  }
  Expiry(const Expiry&) = delete;
  Expiry& operator=(const Expiry&) = delete;

 private:
  MrpLeaveSm& sm_;
  MrpIntfTypeApplicant& types_;
};

}  // namespace

Seconds leaveTimeOf(const MrpConfig& config, IntfId intf) {
  const Seconds own = config.intfLeaveTime(intf);
  return own == Seconds() ? config.leaveTime() : own;
}

void MrpRegistrarSm::mrpAddAttrToLeavePending() {
  if (const Subject subject = records_.find(env_.current())) {
    addLeavePending(subject, registrarEvent_);
  }
}

void MrpRegistrarSm::addLeavePending(Subject subject, MrpRegistrarEvent event) {
  MrpLeaveSm& sm = event == MrpRegistrarEvent::rLv ? subject.record->explicitLeaveSm()
                                                   : subject.record->leaveSm();
  if (sm.leavePending() && sm.armed()) return;
  sm.leavePendingIs(true);
  doScheduleLeaveTimer(sm, leaveTime(subject.intf(), event));
}

inline Seconds MrpRegistrarSm::leaveTime(IntfId intf, MrpRegistrarEvent event) const {
  const Seconds ownLeaveAll = env_.config.leaveAllLeaveTime();
  const bool other = ownLeaveAll != MrpConfig::kDefaultLeaveAllLeaveTime;
  return event == MrpRegistrarEvent::txLvAll && other ? ownLeaveAll
                                                      : leaveTimeOf(env_.config, intf);
}

// (Re)arms the timer for now plus the leave time.
inline void MrpRegistrarSm::doScheduleLeaveTimer(MrpLeaveSm& sm, Seconds leaveTime) {
  timerWheel_->delayIs(sm, leaveTime);
  if (env_.trace.isOn(8) || env_.observed()) tellArmed(sm, leaveTime);
}

void MrpRegistrarSm::tellArmed(MrpLeaveSm& sm, Seconds leaveTime) const {
  const Seconds deadline = timerWheel_->clock().now() + leaveTime;
  MRP_TRACE(env_.trace, 8,
            "Leave timer will expire at: " << deadline << " " << attributeOf(sm.record()));
  tellTimer(sm, Step::armed, deadline);
}

void MrpRegistrarSm::tellTimer(MrpLeaveSm& sm, Step step, Seconds due) const {
  env_.observe(&MrpObserver::timer, {sm.explicitLeave() ? Kind::explicitLeave : Kind::leave, step,
                                     attributeOf(sm.record()), due});
}

void MrpRegistrarSm::mrpDeleteAttrFromLeavePending() {
  mrpDeleteAttrFromLeavePending(env_.current());
}

// The attribute may be hidden by a pending deletion by now; its timers are reached all the same.
void MrpRegistrarSm::mrpDeleteAttrFromLeavePending(const MrpAttribute& attribute) {
  if (MrpAttrDatabase* record = records_.any(attribute)) delLeavePending(*record);
}

void MrpRegistrarSm::delLeavePending(MrpAttrDatabase& record) const {
  unmark(record.leaveSm());
  unmark(record.explicitLeaveSm());
}

void MrpRegistrarSm::unmark(MrpLeaveSm& sm) const {
  if (env_.observed() && sm.leavePending() && sm.armed()) {
    tellTimer(sm, Step::stopped, env_.clock.now());
  }
  sm.leavePendingIs(false);
}

// A frame that waits unread on the port is processed first: a Join in it has arrived before the
// leave expires and takes the registration back. The record stays until the end of this, whatever
// becomes of the attribute.
void MrpRegistrarSm::handleLeaveTimer(Platform::Timer& timer) {
  auto& sm = static_cast<MrpLeaveSm&>(timer);
  MrpIntfTypeApplicant& types = AttrTable::ownerOf(sm.record());
  MRP_TRACE(env_.trace, 8, "MrpLeaveSm::handleLeaveTimer() " << attributeOf(sm.record()));
  const Expiry expiry(sm, types);
  inbox_.readWaiting(types.intfId());
  if (!sm.dropped()) handleLeavePending(sm);
}

void MrpRegistrarSm::handleLeavePending(MrpLeaveSm& sm) {
  if (!sm.leavePending()) return;
  if (env_.observed()) tellTimer(sm, Step::fired, env_.clock.now());
  const MrpAttribute attribute = attributeOf(sm.record());
  const Subject subject = records_.find(attribute);
  if (!subject) {
    env_.contextIs(attribute.intfId, attribute.attributeType, attribute.attributeKey);
    MRP_TRACE(env_.trace, 8, " attribute not found, returning@!!! ");
    return;
  }
  records_.currentIs(subject);
  handle(subject, MrpRegistrarEvent::leaveTimer);
}

void MrpRegistrarSm::mrpCancelLeavePending(IntfId intf) {
  const MrpIntfApplicant* port = env_.database.attrDatabase(intf);
  if (!port) return;
  port->walkTypes([this](MrpIntfTypeApplicant& types) {
    types.walk(AttrTable::kPresent, [&](MrpAttrDatabase& record) {
      drop(record.leaveSm());
      drop(record.explicitLeaveSm());
      types.leaveSmStopped(record);
    });
    return true;
  });
}

void MrpRegistrarSm::leaveSmDelAll() { dropAll(&MrpAttrDatabase::leaveSm); }
void MrpRegistrarSm::explicitLeaveSmDelAll() { dropAll(&MrpAttrDatabase::explicitLeaveSm); }

void MrpRegistrarSm::dropAll(MrpLeaveSm& (MrpAttrDatabase::*which)()) {
  env_.database.walkTypes([&](MrpIntfTypeApplicant& types) {
    types.walk(AttrTable::kPresent, [&](MrpAttrDatabase& record) {
      drop((record.*which)());
      types.leaveSmStopped(record);
    });
    return true;
  });
}

// One whose expiry is being served ends with that.
void MrpRegistrarSm::drop(MrpLeaveSm& sm) const {
  unmark(sm);
  sm.cancel();
  sm.droppedIs(sm.expiring());
}

MrpLeaveSm* MrpRegistrarSm::leaveSm(const MrpAttribute& attribute) const {
  MrpAttrDatabase* record = records_.any(attribute);
  return record && record->leaveSm().running() ? &record->leaveSm() : nullptr;
}

MrpLeaveSm* MrpRegistrarSm::explicitLeaveSm(const MrpAttribute& attribute) const {
  MrpAttrDatabase* record = records_.any(attribute);
  return record && record->explicitLeaveSm().running() ? &record->explicitLeaveSm() : nullptr;
}

}  // namespace Mrp
