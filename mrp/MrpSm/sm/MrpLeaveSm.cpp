#include "mrp/MrpSm/sm/MrpLeaveSm.h"

#include <new>

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {

MrpAttribute MrpLeaveSm::attribute() const {
  return {group_->intfId, group_->attributeType, attributeKey()};
}

void MrpLeaveSm::doScheduleLeaveTimer(Seconds leaveTime) {
  Platform::TimerWheel& wheel = *group_->mrpSm->timerWheel();
  const Seconds deadline = wheel.clock().now() + leaveTime;
  wheel.deadlineIs(*this, deadline);
  MRP_TRACE(group_->mrpSm->trace(), 8,
            "Leave timer will expire at: " << deadline.value() << " " << attribute());
}

// A frame that waits unread on the port is processed first: a Join in it has arrived before the
// leave expires and takes the registration back.
void MrpLeaveSm::handleLeaveTimer() {
  MrpSm& mrpSm = *group_->mrpSm;
  MRP_TRACE(mrpSm.trace(), 8, "MrpLeaveSm::handleLeaveTimer() " << attribute());
  expiring_ = true;
  if (const Ptr<MrpIntfPamSm> port = mrpSm.mrpPamSm()->mrpIntfPamSm(group_->intfId)) {
    if (port->pam().ethDevPam() && port->pam().rxPktWaiting()) port->handleMrpdu();
  }
  if (!dropped_) handleLeavePending();
  expiring_ = false;
  if (dropped_ || !armed()) mrpSm.registrarSm()->leaveSmDone(*this);
}

void MrpLeaveSm::handleLeavePending() {
  if (!leavePending_) return;
  MrpSm& mrpSm = *group_->mrpSm;
  mrpSm.mrpFillContextFromDatabase(attribute());
  mrpSm.registrarSm()->registrarEventIs(MrpRegistrarEvent::leaveTimer);
  mrpSm.registrarSm()->handleRegistrarEvent();
}

MrpLeaveSm& MrpLeavePool::make(const MrpLeaveGroup& group, MrpAttrDatabase& record) {
  if (!free_) {
    pages_.push_back(std::make_unique<Line[]>(kPageMachines));
    for (std::size_t i = kPageMachines; i-- > 0;) {
      pages_.back()[i].next = free_;
      free_ = &pages_.back()[i];
    }
  }
  Line* line = free_;
  free_ = line->next;
  return *new (line->storage) MrpLeaveSm(group, record);
}

void MrpLeavePool::free(MrpLeaveSm& sm) {
  sm.~MrpLeaveSm();
  Line* line = new (&sm) Line;
  line->next = free_;
  free_ = line;
}

}  // namespace Mrp
