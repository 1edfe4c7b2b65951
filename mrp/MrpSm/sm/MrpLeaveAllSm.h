#pragma once

#include <map>

#include "mrp/MrpSm/MrpObserver.h"
#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/PlatformNames.h"
#include "platform/interface/IntfMap.h"
#include "platform/reactor/Entity.h"
#include "platform/time/TimerWheel.h"

namespace Mrp {

class MrpApplicantSm;
class MrpConfig;
class MrpLeaveAllSm;
class MrpRegistrarSm;
class PeriodSource;
class Records;
class Transmitter;
struct Environment;

// When the LeaveAll of one attribute type on one port is due.
struct MrpLeaveAllTimer {
  std::uint8_t attrType = 0;
  Seconds expiryTime;  // absolute

  std::uint32_t hash() const { return attrType; }
};

// LeaveAll periods of one port (IEEE 802.1Q 10.7.9), one an attribute type, on one timer.
class MRP_API MrpIntfLeaveAllSm : public Platform::Entity {
 public:
  MrpIntfLeaveAllSm(IntfId intfId, MrpLeaveAllSm& all, Ptr<Platform::TimerWheel> timerWheel);

  const std::map<std::uint8_t, MrpLeaveAllTimer>& leaveAllPending() const {
    return leaveAllPending_;
  }
  bool leaveAllPendingHas(std::uint8_t type) const { return leaveAllPending_.contains(type); }
  // Starts the period of a type, due after `period`; a running one is left alone.
  void leaveAllPendingIs(std::uint8_t type, Seconds period);
  // The timer stops with the last one.
  void leaveAllPendingDel(std::uint8_t type);
  // Moves the entry of a type to now plus `period`; nothing when it has none.
  void restart(std::uint8_t type, Seconds period);

  // Brings the timer forward to now plus `delay`; never puts it back.
  void doScheduleLeaveAllTimer(Seconds delay);
  void handleLeaveAllTimer();
  void handleTxLeaveAll(std::uint8_t type, Seconds period);
  void handleCfgIntfLeaveAllTime();

 private:
  void deadlineIs(Seconds deadline);
  void observeTimer(MrpObserver::TimerStep step, Seconds due) const;
  Seconds now() const { return timerWheel_->clock().now(); }
  void due(std::uint8_t type, MrpLeaveAllTimer& timer, Seconds period);

  IntfId intfId_;
  MrpLeaveAllSm& all_;
  Ptr<Platform::TimerWheel> timerWheel_;
  Platform::MemberTimer leaveAllTimer_;
  Seconds deadline_ = Seconds::never();  // of the timer, whether ahead or served
  std::map<std::uint8_t, MrpLeaveAllTimer> leaveAllPending_;
};

// LeaveAll machines of all ports, and the place where events that concern all attributes of a port
// and type are posted.
class MRP_API MrpLeaveAllSm : public Platform::Entity {
 public:
  // What a LeaveAll sets in motion.
  struct Machines {
    const Environment& env;
    Records& records;
    MrpApplicantSm& applicant;
    MrpRegistrarSm& registrar;
    Transmitter& transmitter;
    PeriodSource& periods;
  };

  MrpLeaveAllSm(const Machines& machines, Ptr<MrpConfig> mrpConfig,
                Ptr<Platform::TimerWheel> timerWheel);

  MrpIntfLeaveAllSm* intfLeaveAllSm(IntfId intf) const;

  // The next LeaveAll period of a port.
  Seconds leaveAllPeriod(IntfId intf) const;

  void mrpEnableLeaveAllPending(IntfId intf);
  void mrpEnableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type, Seconds period);
  void mrpDisableLeaveAllPending(IntfId intf);
  void mrpDisableLeaveAllPendingAttrType(IntfId intf, std::uint8_t type);

  // Runs both machines of every attribute of the port and type, in key order. Never for a received
  // LeaveAll, which the receive path applies.
  void mrpPostLeaveAllToSm(IntfId intf, std::uint8_t type, MrpApplicantEvent applicantEvent,
                           MrpRegistrarEvent registrarEvent);
  // The same for every type of the application.
  void postToAllTypes(IntfId intf, MrpApplicantEvent applicantEvent,
                      MrpRegistrarEvent registrarEvent);
  // Sends a LeaveAll of a type as its period does, with the Registrar's event or without: on
  // request the registrations of this port are not doubted.
  void sendLeaveAll(IntfId intf, std::uint8_t type);
  void mrpAllLeaveAllSm(IntfId intf, std::uint8_t type);
  // All types of a port, on request; running periods start again.
  void transmitAllLeaveAll(IntfId intf);
  void flush(IntfId intf);

  // A new period takes effect at once; one that is set while notifications are off, at the next
  // expiry.
  void handleCfgLeaveAllTime();
  void handleCfgIntfLeaveAllTime(IntfId intf);
  void handleCfgTimersEnabled();

  const Environment& env() const { return machines_.env; }

 private:
  void handleInitialized();
  void sendPending(IntfId intf, std::uint8_t type);

  Machines machines_;
  Ptr<MrpConfig> mrpConfig_;
  Ptr<Platform::TimerWheel> timerWheel_;
  Platform::IntfMap<Ptr<MrpIntfLeaveAllSm>> intfLeaveAllSm_;
  bool initialized_ = false;
  Platform::Reactor<> leaveAllTimeReactor_;
  Platform::Reactor<IntfId> intfLeaveAllTimeReactor_;
  Platform::Reactor<> timersEnabledReactor_;
};

}  // namespace Mrp
