// The registrar's leave machines: arming, unmarking and cancelling.

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

namespace Mrp {
namespace {

MrpLeaveSm* machineOf(const MrpAttrDatabase& record, bool explicitLeave) {
  return explicitLeave ? record.explicitLeaveSm() : record.leaveSm();
}

}  // namespace

void MrpRegistrarSm::mrpAddAttrToLeavePending() {
  if (MrpAttrDatabase* record = mrpSm_.mrpGetAttribute(false)) addLeavePending(*record);
}

void MrpRegistrarSm::addLeavePending(MrpAttrDatabase& record) {
  const IntfId intf = mrpSm_.parseContext()->intfId();
  const bool explicitLeave = registrarEvent_ == MrpRegistrarEvent::rLv;
  MrpLeaveSm* sm = machineOf(record, explicitLeave);
  if (sm && sm->leavePending() && sm->armed()) return;
  if (!sm) {
    const MrpLeaveGroup& g = group(intf, mrpSm_.parseContext()->attributeType(), explicitLeave);
    sm = &pool_.make(g, record);
    g.types->leaveSmIs(record, explicitLeave, sm);
  }
  sm->leavePendingIs(true);
  const bool ownLeaveAll = registrarEvent_ == MrpRegistrarEvent::txLvAll &&
                           mrpConfig_->leaveAllLeaveTime() != MrpConfig::kDefaultLeaveAllLeaveTime;
  sm->doScheduleLeaveTimer(ownLeaveAll ? mrpConfig_->leaveAllLeaveTime()
                                       : mrpSm_.mrpGetLeaveTime(intf));
}

// The attribute may be hidden by a pending deletion by now; its machines are reached all the same.
void MrpRegistrarSm::mrpDeleteAttrFromLeavePending() {
  if (MrpAttrDatabase* record = mrpSm_.anyRecord()) delLeavePending(*record);
}

void MrpRegistrarSm::delLeavePending(MrpAttrDatabase& record) {
  if (MrpLeaveSm* sm = record.leaveSm()) sm->leavePendingIs(false);
  if (MrpLeaveSm* sm = record.explicitLeaveSm()) sm->leavePendingIs(false);
}

void MrpRegistrarSm::mrpCancelLeavePending(IntfId intf) {
  const Groups* groups = groups_.find(intf);
  if (!groups) return;
  for (const auto& collection : *groups) {
    for (const auto& g : collection) {
      if (!g) continue;
      MrpAttrDatabase* record = g->types->anyAtOrAbove(0);
      while (record) {
        const std::uint64_t key = record->attributeKey();
        if (MrpLeaveSm* sm = machineOf(*record, g->explicitLeave)) leaveSmDrop(*sm);
        record = key == UINT64_MAX ? nullptr : g->types->anyAtOrAbove(key + 1);
      }
    }
  }
}

void MrpRegistrarSm::leaveSmDelAll() {
  groups_.walk([this](IntfId intf, Groups&) { mrpCancelLeavePending(intf); });
}

MrpLeaveSm* MrpRegistrarSm::leaveSm(const MrpAttribute& attribute) const {
  const MrpAttrDatabase* record = mrpSm_.anyRecord(attribute);
  return record ? record->leaveSm() : nullptr;
}

MrpLeaveSm* MrpRegistrarSm::explicitLeaveSm(const MrpAttribute& attribute) const {
  const MrpAttrDatabase* record = mrpSm_.anyRecord(attribute);
  return record ? record->explicitLeaveSm() : nullptr;
}

// A machine in the middle of its expiry is freed when that ends.
void MrpRegistrarSm::leaveSmDrop(MrpLeaveSm& sm) {
  const MrpLeaveGroup& g = sm.group();
  sm.leavePendingIs(false);
  sm.cancel();
  g.types->leaveSmIs(sm.record(), g.explicitLeave, nullptr);
  if (sm.expiring()) {
    sm.droppedIs();
  } else {
    pool_.free(sm);
  }
}

void MrpRegistrarSm::leaveSmDone(MrpLeaveSm& sm) {
  if (!sm.dropped()) {
    const MrpLeaveGroup& g = sm.group();
    g.types->leaveSmIs(sm.record(), g.explicitLeave, nullptr);
  }
  pool_.free(sm);
}

const MrpLeaveGroup& MrpRegistrarSm::group(IntfId intf, std::uint8_t type, bool explicitLeave) {
  auto& collection = groups_.is(intf)[explicitLeave ? 1 : 0];
  if (type >= collection.size()) collection.resize(std::size_t{type} + 1);
  auto& g = collection[type];
  if (!g) {
    g = std::make_unique<MrpLeaveGroup>();
    *g = {&mrpSm_, mrpSm_.typeApplicant(intf, type), intf, type, explicitLeave};
  }
  return *g;
}

}  // namespace Mrp
