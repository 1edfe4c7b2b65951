#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "mrp/types/MrpStatus.h"
#include "platform/time/TimerWheel.h"

namespace Mrp {

class MrpSm;
class MrpLeaveSm;

// What the leave machines of one (port, attribute type) and one of the registrar's two collections
// have in common.
struct MrpLeaveGroup {
  MrpSm* mrpSm = nullptr;
  MrpIntfTypeApplicant* types = nullptr;
  IntfId intfId;
  std::uint8_t attributeType = 0;
  bool explicitLeave = false;
};

// Leave timer of one attribute: gives its registration the leave time in which to be declared
// again. A machine lives only while its timer runs, since an idle one behaves like none at all; a
// key that is pending on a machine that has fired is therefore armed anew by the next leave event.
// While it lives its record keeps its place, and the running timer is never restarted by further
// leave events. The machine outlives its attribute's registration: unmarking the key leaves the
// timer running, and its expiry then finds nothing to expire.
class MrpLeaveSm final : public Platform::Timer {
 public:
  MrpLeaveSm(const MrpLeaveGroup& group, MrpAttrDatabase& record)
      : group_(&group), record_(&record) {}

  MrpAttribute attribute() const;
  std::uint64_t attributeKey() const { return record_->attributeKey(); }
  const MrpLeaveGroup& group() const { return *group_; }
  MrpAttrDatabase& record() const { return *record_; }

  bool leavePending() const { return leavePending_; }
  void leavePendingIs(bool pending) { leavePending_ = pending; }
  // (Re)arms the timer for now plus the leave time.
  void doScheduleLeaveTimer(Seconds leaveTime);

  // While the expiry runs, the machine stays even if its collection drops it; `dropped` says so.
  bool expiring() const { return expiring_; }
  bool dropped() const { return dropped_; }
  void droppedIs() { dropped_ = true; }

 private:
  void handleTimer() override { handleLeaveTimer(); }
  void handleLeaveTimer();
  void handleLeavePending();

  const MrpLeaveGroup* group_;
  MrpAttrDatabase* record_;
  bool leavePending_ = false;
  bool expiring_ = false;
  bool dropped_ = false;
};

static_assert(sizeof(MrpLeaveSm) <= 64, "one machine, one cache line");

// Allocator of leave machines: pages of cache lines and a list of the free ones.
class MrpLeavePool {
 public:
  MrpLeavePool() = default;
  MrpLeavePool(const MrpLeavePool&) = delete;
  MrpLeavePool& operator=(const MrpLeavePool&) = delete;

  MrpLeaveSm& make(const MrpLeaveGroup& group, MrpAttrDatabase& record);
  void free(MrpLeaveSm& sm);

 private:
  static constexpr std::size_t kPageMachines = 256;
  union Line {
    Line* next;
    alignas(64) std::byte storage[64];
  };
  std::vector<std::unique_ptr<Line[]>> pages_;
  Line* free_ = nullptr;
};

}  // namespace Mrp
