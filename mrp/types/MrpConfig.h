#pragma once

#include <array>
#include <cstdint>

#include "mrp/types/Applications.h"
#include "mrp/types/PlatformNames.h"
#include "platform/interface/IntfMap.h"
#include "platform/reactor/Entity.h"
#include "platform/time/Seconds.h"

namespace Mrp {

// Configuration of the MRP service, watched by the engine. Times are in seconds. Writing the value
// that a field already has is no change.
class MRP_API MrpConfig : public Platform::Entity {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpConfig";

  // LeaveTime (IEEE 802.1Q 10.7.5): how long a registration in LV waits to be declared again.
  Seconds leaveTime() const { return leaveTime_; }
  void leaveTimeIs(Seconds time) { leaveTime_ = time; }
  // Per-port leave times; absent or 0 means the global one.
  Seconds intfLeaveTime(IntfId intf) const { return entry(intfLeaveTime_, intf); }
  void intfLeaveTimeIs(IntfId intf, Seconds time) { intfLeaveTime_.is(intf) = time; }
  void intfLeaveTimeDel(IntfId intf) { intfLeaveTime_.del(intf); }

  // Leave time after a LeaveAll of our own, where it differs from kDefaultLeaveAllLeaveTime.
  Seconds leaveAllLeaveTime() const { return leaveAllLeaveTime_; }
  void leaveAllLeaveTimeIs(Seconds time) { leaveAllLeaveTime_ = time; }
  static constexpr Seconds kDefaultLeaveAllLeaveTime{0.6};

  // LeaveAllTime (IEEE 802.1Q 10.7.5): period between LeaveAlls of our own.
  Seconds leaveAllTime() const { return leaveAllTime_; }
  void leaveAllTimeIs(Seconds time) {
    if (time == leaveAllTime_) return;
    leaveAllTime_ = time;
    onLeaveAllTime_.notify();
  }
  Platform::Signal<>& onLeaveAllTime() { return onLeaveAllTime_; }
  // Per-port LeaveAll times; absent or 0 means the global one.
  Seconds intfLeaveAllTime(IntfId intf) const { return entry(intfLeaveAllTime_, intf); }
  void intfLeaveAllTimeIs(IntfId intf, Seconds time) {
    const Seconds* present = intfLeaveAllTime_.find(intf);
    if (present && *present == time) return;
    intfLeaveAllTime_.is(intf) = time;
    onIntfLeaveAllTime_.notify(intf);
  }
  void intfLeaveAllTimeDel(IntfId intf) {
    if (intfLeaveAllTime_.del(intf)) onIntfLeaveAllTime_.notify(intf);
  }
  Platform::Signal<IntfId>& onIntfLeaveAllTime() { return onIntfLeaveAllTime_; }

  bool timersEnabled() const { return timersEnabled_; }
  void timersEnabledIs(bool enabled) {
    if (enabled == timersEnabled_) return;
    timersEnabled_ = enabled;
    onTimersEnabled_.notify();
  }
  Platform::Signal<>& onTimersEnabled() { return onTimersEnabled_; }

  // How many attributes of one type a neighbour may hold on one port; 0, as at first, means no
  // limit. Received events for further ones are counted and ignored. This station's own
  // declarations are never refused, and a lower limit takes nothing away from what is there.
  std::uint32_t attributeLimit(MrpApplication application, std::uint8_t type) const {
    return limits_[limitAt(application, type)];
  }
  // Nothing happens for a type that the application lacks.
  void attributeLimitIs(MrpApplication application, std::uint8_t type, std::uint32_t limit) {
    if (const std::size_t at = limitAt(application, type)) limits_[at] = limit;
  }
  // Sets the limits that the table of applications recommends: an agent that faces a network has
  // some, since memory is not a neighbour's to take.
  void recommendedLimitsAre();
#define MRP_LIMIT(name, application, type)                                                 \
  std::uint32_t name() const { return attributeLimit(MrpApplication::application, type); } \
  void name##Is(std::uint32_t limit) { attributeLimitIs(MrpApplication::application, type, limit); }
  MRP_LIMIT(vlanLimit, mvrp, 1)
  MRP_LIMIT(talkerAdvertiseLimit, msrp, 1)
  MRP_LIMIT(talkerFailedLimit, msrp, 2)
  MRP_LIMIT(listenerLimit, msrp, 3)
  MRP_LIMIT(domainLimit, msrp, 4)
#undef MRP_LIMIT

  // Whether a talker continues a vector only when all of its value follows from FirstValue's.
  // Otherwise, as at first, identity alone is compared, and a neighbour takes an appended talker's
  // other fields for those of the first.
  bool wholeTalkersInSequence() const { return wholeTalkersInSequence_; }
  void wholeTalkersInSequenceIs(bool whole) { wholeTalkersInSequence_ = whole; }

  // While set, finished transmit packets are dropped.
  bool txSuppress() const { return txSuppress_; }
  void txSuppressIs(bool suppress) { txSuppress_ = suppress; }

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  static Seconds entry(const Platform::IntfMap<Seconds>& map, IntfId intf) {
    const Seconds* time = map.find(intf);
    return time ? *time : Seconds();
  }
  // 0 for a type that the application lacks: its place holds no limit.
  static constexpr std::size_t limitAt(MrpApplication application, std::uint8_t type) {
    std::size_t before = 0;
    for (const ApplicationInfo& info : kApplications) {
      if (info.application == application) return info.type(type) ? before + type : 0;
      before += info.types.size();
    }
    return 0;
  }
  static constexpr std::size_t kLimits = 1 + kMsrpTypes.size() + kMvrpTypes.size();
  Platform::Value::Members intfLeaveTimes() const;
  Platform::Value::Members intfLeaveAllTimes() const;

  Seconds leaveTime_{0.6};
  Seconds leaveAllLeaveTime_{kDefaultLeaveAllLeaveTime};
  Seconds leaveAllTime_{10.0};
  Platform::IntfMap<Seconds> intfLeaveTime_;
  Platform::IntfMap<Seconds> intfLeaveAllTime_;
  bool timersEnabled_ = true;
  bool txSuppress_ = false;
  bool wholeTalkersInSequence_ = false;
  std::array<std::uint32_t, kLimits> limits_{};
  Platform::Signal<> onLeaveAllTime_;
  Platform::Signal<IntfId> onIntfLeaveAllTime_;
  Platform::Signal<> onTimersEnabled_;
};

}  // namespace Mrp
