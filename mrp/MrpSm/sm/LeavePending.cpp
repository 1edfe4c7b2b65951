// The registrar's leave timers: arming, unmarking, expiry and cancelling.

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

namespace Mrp {
namespace {

MrpAttribute attributeOf(MrpAttrDatabase& record) {
  const MrpIntfTypeApplicant& types = AttrTable::ownerOf(record);
  return {types.intfId(), types.attributeType(), record.attributeKey()};
}

}  // namespace

void MrpRegistrarSm::mrpAddAttrToLeavePending() {
  if (MrpAttrDatabase* record = mrpSm_.mrpGetAttribute(false)) addLeavePending(*record);
}

void MrpRegistrarSm::addLeavePending(MrpAttrDatabase& record) {
  const bool explicitLeave = registrarEvent_ == MrpRegistrarEvent::rLv;
  MrpLeaveSm& sm = explicitLeave ? record.explicitLeaveSm() : record.leaveSm();
  if (sm.leavePending() && sm.armed()) return;
  sm.leavePendingIs(true);
  const bool ownLeaveAll = registrarEvent_ == MrpRegistrarEvent::txLvAll &&
                           mrpConfig_->leaveAllLeaveTime() != MrpConfig::kDefaultLeaveAllLeaveTime;
  doScheduleLeaveTimer(sm, ownLeaveAll ? mrpConfig_->leaveAllLeaveTime()
                                       : mrpSm_.mrpGetLeaveTime(mrpSm_.parseContext()->intfId()));
}

// (Re)arms the timer for now plus the leave time.
void MrpRegistrarSm::doScheduleLeaveTimer(MrpLeaveSm& sm, Seconds leaveTime) {
  const Seconds deadline = timerWheel_->clock().now() + leaveTime;
  timerWheel_->deadlineIs(sm, deadline);
  MRP_TRACE(mrpSm_.trace(), 8,
            "Leave timer will expire at: " << deadline.value() << " " << attributeOf(sm.record()));
}

// The attribute may be hidden by a pending deletion by now; its timers are reached all the same.
void MrpRegistrarSm::mrpDeleteAttrFromLeavePending() {
  if (MrpAttrDatabase* record = mrpSm_.anyRecord()) delLeavePending(*record);
}

void MrpRegistrarSm::delLeavePending(MrpAttrDatabase& record) {
  record.leaveSm().leavePendingIs(false);
  record.explicitLeaveSm().leavePendingIs(false);
}

// A frame that waits unread on the port is processed first: a Join in it has arrived before the
// leave expires and takes the registration back. The record stays until the end of this, whatever
// becomes of the attribute.
void MrpRegistrarSm::handleLeaveTimer(Platform::Timer& timer) {
  auto& sm = static_cast<MrpLeaveSm&>(timer);
  MrpAttrDatabase& record = sm.record();
  MrpIntfTypeApplicant& types = AttrTable::ownerOf(record);
  MRP_TRACE(mrpSm_.trace(), 8, "MrpLeaveSm::handleLeaveTimer() " << attributeOf(record));
  sm.expiringIs(true);
  if (const Ptr<MrpIntfPamSm> port = mrpSm_.mrpPamSm()->mrpIntfPamSm(types.intfId())) {
    if (port->pam().ethDevPam() && port->pam().rxPktWaiting()) port->handleMrpdu();
  }
  if (!sm.dropped()) handleLeavePending(sm);
  sm.expiringIs(false);
  sm.droppedIs(false);
  types.leaveSmStopped(record);
}

void MrpRegistrarSm::handleLeavePending(MrpLeaveSm& sm) {
  if (!sm.leavePending()) return;
  mrpSm_.mrpFillContextFromDatabase(attributeOf(sm.record()));
  registrarEventIs(MrpRegistrarEvent::leaveTimer);
  handleRegistrarEvent();
}

void MrpRegistrarSm::mrpCancelLeavePending(IntfId intf) {
  const MrpIntfApplicant* port = mrpSm_.applicationDatabase()->attrDatabase(intf);
  for (std::size_t type = 0; port && type < port->typeLimit(); ++type) {
    MrpIntfTypeApplicant* types = port->intfTypeApplicant(static_cast<std::uint8_t>(type));
    MrpAttrDatabase* record = types ? types->anyAtOrAbove(0) : nullptr;
    while (record) {
      const std::uint64_t key = record->attributeKey();
      leaveSmDrop(record->leaveSm());
      leaveSmDrop(record->explicitLeaveSm());
      types->leaveSmStopped(*record);
      record = key == UINT64_MAX ? nullptr : types->anyAtOrAbove(key + 1);
    }
  }
}

void MrpRegistrarSm::leaveSmDelAll() {
  mrpSm_.applicationDatabase()->attrDatabase().walk(
      [this](IntfId intf, const MrpIntfApplicant&) { mrpCancelLeavePending(intf); });
}

// One whose expiry is being served ends with that.
void MrpRegistrarSm::leaveSmDrop(MrpLeaveSm& sm) {
  sm.leavePendingIs(false);
  sm.cancel();
  sm.droppedIs(sm.expiring());
}

MrpLeaveSm* MrpRegistrarSm::leaveSm(const MrpAttribute& attribute) const {
  MrpAttrDatabase* record = mrpSm_.anyRecord(attribute);
  return record && record->leaveSm().running() ? &record->leaveSm() : nullptr;
}

MrpLeaveSm* MrpRegistrarSm::explicitLeaveSm(const MrpAttribute& attribute) const {
  MrpAttrDatabase* record = mrpSm_.anyRecord(attribute);
  return record && record->explicitLeaveSm().running() ? &record->explicitLeaveSm() : nullptr;
}

}  // namespace Mrp
