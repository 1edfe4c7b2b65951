#pragma once

#include <map>

#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpEnums.h"
#include "platform/interface/IntfMap.h"
#include "platform/time/TimerWheel.h"

namespace Mrp {

class MrpSm;

// When the LeaveAll of one attribute type on one port is due.
struct MrpLeaveAllTimer {
  std::uint8_t attrType = 0;
  Seconds expiryTime;  // absolute
};

// LeaveAll periods of one port (IEEE 802.1Q 10.7.9), one an attribute type, on one timer.
class MRP_API MrpIntfLeaveAllSm : public Platform::Entity {
 public:
  MrpIntfLeaveAllSm(IntfId intfId, MrpSm& mrpSm, Ptr<Platform::TimerWheel> timerWheel);

  const std::map<std::uint8_t, MrpLeaveAllTimer>& leaveAllPending() const {
    return leaveAllPending_;
  }
  bool leaveAllPendingHas(std::uint8_t type) const { return leaveAllPending_.contains(type); }
  // Starts the period of a type, due after `period`; a running one is left alone.
  void leaveAllPendingIs(std::uint8_t type, Seconds period);
  void leaveAllPendingDel(std::uint8_t type) { leaveAllPending_.erase(type); }
  // Moves the entry of a type to now plus `period`; nothing when it has none.
  void restart(std::uint8_t type, Seconds period);

  // Brings the timer forward to now plus `delay`; never puts it back.
  void doScheduleLeaveAllTimer(Seconds delay);
  void handleLeaveAllTimer();
  void handleTxLeaveAll(std::uint8_t type, Seconds period);
  void handleCfgIntfLeaveAllTime();

 private:
  void deadlineIs(Seconds deadline);
  Seconds now() const { return timerWheel_->clock().now(); }
  void due(std::uint8_t type, MrpLeaveAllTimer& timer, Seconds period);

  IntfId intfId_;
  MrpSm& mrpSm_;
  Ptr<Platform::TimerWheel> timerWheel_;
  Platform::MemberTimer leaveAllTimer_;
  Seconds deadline_ = Seconds::never();  // of the timer, whether ahead or served
  std::map<std::uint8_t, MrpLeaveAllTimer> leaveAllPending_;
};

// LeaveAll machines of all ports, and the place where events that concern all attributes of a port
// and type are posted.
class MRP_API MrpLeaveAllSm : public Platform::Entity {
 public:
  MrpLeaveAllSm(MrpSm& mrpSm, Ptr<MrpConfig> mrpConfig, Ptr<Platform::TimerWheel> timerWheel);

  MrpIntfLeaveAllSm* intfLeaveAllSm(IntfId intf) const;

  void mrpEnableLeaveAllPending(IntfId intf);
  void mrpEnableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type, Seconds period);
  void mrpDisableLeaveAllPending(IntfId intf);
  void mrpDisableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type);

  // Runs both machines of every attribute of the port and type, in key order. Never for a received
  // LeaveAll, see MrpSm::mrpProcessRxLeaveAll.
  void mrpPostLeaveAllToSm(IntfId intf, std::uint8_t type, MrpApplicantEvent applicantEvent,
                           MrpRegistrarEvent registrarEvent);

  // A new period takes effect at once; one that is set while notifications are off, at the next
  // expiry.
  void handleCfgLeaveAllTime();
  void handleCfgIntfLeaveAllTime(IntfId intf);
  void handleCfgTimersEnabled();

 private:
  void handleInitialized();

  MrpSm& mrpSm_;
  Ptr<MrpConfig> mrpConfig_;
  Ptr<Platform::TimerWheel> timerWheel_;
  Platform::IntfMap<Ptr<MrpIntfLeaveAllSm>> intfLeaveAllSm_;
  bool initialized_ = false;
  Platform::Reactor<> leaveAllTimeReactor_;
  Platform::Reactor<IntfId> intfLeaveAllTimeReactor_;
  Platform::Reactor<> timersEnabledReactor_;
};

// LeaveAll period of a port, randomised to 1.0 .. 1.5 times the configured time unless
// DISABLE_LEAVE_ALL_RANDOMIZATION is in the environment; looked up at every call.
Seconds getLeaveAllTime(const MrpSm& mrpSm, IntfId intf);

}  // namespace Mrp
