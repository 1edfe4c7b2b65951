#pragma once

#include "mrp/MrpSm/MrpObserver.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/MrpLeaveSm.h"
#include "mrp/types/PlatformNames.h"
#include "platform/reactor/Entity.h"
#include "platform/time/TimerWheel.h"

namespace Mrp {

class Inbox;
class Indications;
class MrpAttrDatabase;
class MrpConfig;
class MrpIntfTypeApplicant;
class Outbox;
class Records;
struct Environment;
struct Subject;

// Registrar (IEEE 802.1Q 10.7.8): records what the neighbour has declared about an attribute and
// tells the application. One per engine; the state is in the attribute's record. Serves the leave
// timers and owns the transmit timer that flushes the open packets.
class MRP_API MrpRegistrarSm : public Platform::Entity {
 public:
  // `inbox` and `outbox` as the leave timers and the transmit timer need them.
  MrpRegistrarSm(const Environment& env, Records& records, Indications& indications, Inbox& inbox,
                 Outbox& outbox, Ptr<MrpConfig> mrpConfig, Ptr<Platform::TimerWheel> timerWheel);
  ~MrpRegistrarSm() override;

  // Takes an event; the value received stands in the receive record. The record may be gone
  // afterwards.
  void handle(Subject subject, MrpRegistrarEvent event);

  // The stored event against the current attribute; nothing when it has no record.
  void registrarEventIs(MrpRegistrarEvent event) { registrarEvent_ = event; }
  MrpRegistrarEvent registrarEvent() const { return registrarEvent_; }
  void handleRegistrarEvent();
  // Nothing happens when the current attribute has no record.
  void mrpSetRegistrarState(MrpRegistrarState state);

  static MrpRegistrarEvent mrpMapRxRegistrarEvent(std::uint8_t threePackedEvent) {
    return registrarEventOf(threePackedEvent);
  }

  // Leave timers of the current attribute, or of the named one.
  void mrpAddAttrToLeavePending();
  void mrpDeleteAttrFromLeavePending();
  void mrpDeleteAttrFromLeavePending(const MrpAttribute& attribute);
  // Drops every leave timer of a port.
  void mrpCancelLeavePending(IntfId intf);

  // Timers of the two collections while they run; null otherwise. `leaveSm` serves LeaveAlls and
  // role changes, `explicitLeaveSm` a received Lv. The DelAll forms drop all timers of one.
  MrpLeaveSm* leaveSm(const MrpAttribute& attribute) const;
  MrpLeaveSm* explicitLeaveSm(const MrpAttribute& attribute) const;
  void leaveSmDelAll();
  void explicitLeaveSmDelAll();

  void handleTxTimer();
  void handleCfgTimersEnabled();

 private:
  // What an event came to: an indication ends the hand-on of the record, which the application may
  // have moved or deleted.
  enum class Outcome : std::uint8_t { quiet, indicated, discarded };
  // What has led to a state: for the observer, who hears of it before the application does.
  struct Cause {
    MrpRegistrarState from;
    MrpRegistrarEvent event;
  };

  void handleInitialized();
  // What is told of an event, apart from the hot path: it costs that registers even when it is off.
  [[gnu::cold]] void tellEvent(Subject subject, MrpRegistrarEvent event) const;
  [[gnu::cold]] void tellExit(MrpRegistrarState state) const;
  // Tells the observer, if there is one and it wants to know.
  void moved(Subject subject, Cause cause) const;
  [[gnu::noinline]] void tellMove(Subject subject, Cause cause) const;
  [[gnu::cold]] void tellInvalid(MrpRegistrarState state) const;

  Outcome dispatch(Subject subject, MrpRegistrarEvent event);
  // The end of an event of which the application has been told: it may have done anything.
  [[gnu::noinline]] void handleIndicated(const MrpIntfTypeApplicant& types, std::uint64_t key,
                                         Outcome outcome);
  void deleteAtRest(Subject subject);
  Outcome handleInStateRegistrar(Subject subject, MrpRegistrarEvent event);
  Outcome handleLvStateRegistrar(Subject subject, MrpRegistrarEvent event);
  Outcome handleMtStateRegistrar(Subject subject, MrpRegistrarEvent event);
  Outcome joinUpdate(Subject subject, Cause cause);
  Outcome joinChanged(Subject subject, Cause cause);
  Outcome joinIndication(Subject subject, Cause cause);
  Outcome leaveIndication(Subject subject, Cause cause);
  [[gnu::cold]] void joinDiscarded(IntfId intf, std::uint8_t type, std::uint64_t key);
  void addLeavePending(Subject subject, MrpRegistrarEvent event);
  void delLeavePending(MrpAttrDatabase& record) const;
  [[gnu::always_inline]] Seconds leaveTime(IntfId intf, MrpRegistrarEvent event) const;
  [[gnu::always_inline]] void doScheduleLeaveTimer(MrpLeaveSm& sm, Seconds leaveTime);
  void handleLeaveTimer(Platform::Timer& timer);
  void handleLeavePending(MrpLeaveSm& sm);
  void drop(MrpLeaveSm& sm) const;
  void unmark(MrpLeaveSm& sm) const;
  void dropAll(MrpLeaveSm& (MrpAttrDatabase::*which)());
  [[gnu::cold]] void tellArmed(MrpLeaveSm& sm, Seconds leaveTime) const;
  [[gnu::cold]] void tellTimer(MrpLeaveSm& sm, MrpObserver::TimerStep step, Seconds due) const;

  [[gnu::cold]] void logJoin(Subject subject, MrpRegistrarEvent event) const;
  [[gnu::cold]] void logLeave(const char* how, Subject subject, MrpRegistrarEvent event) const;

  const Environment& env_;
  Records& records_;
  Indications& indications_;
  Inbox& inbox_;
  Outbox& outbox_;
  Ptr<MrpConfig> mrpConfig_;
  Ptr<Platform::TimerWheel> timerWheel_;
  Platform::MemberTimer txTimer_;
  MrpRegistrarEvent registrarEvent_ = MrpRegistrarEvent::none;
  bool initialized_ = false;
  Platform::Reactor<> timersEnabledReactor_;
};

// Leave time of a port, its own or the global one.
Seconds leaveTimeOf(const MrpConfig& config, IntfId intf);

}  // namespace Mrp
