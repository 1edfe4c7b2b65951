#pragma once

#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpStatus.h"
#include "platform/time/TimerWheel.h"

namespace Mrp {

class MrpSm;

// Registrar (IEEE 802.1Q 10.7.8): records what the neighbour has declared about the engine's
// current attribute and tells the application. One per engine; the state is in the attribute's
// record. Serves the leave timers and owns the
// transmit timer that flushes the open packets.
class MrpRegistrarSm : public Platform::Entity {
 public:
  MrpRegistrarSm(MrpSm& mrpSm, Ptr<MrpConfig> mrpConfig, Ptr<Platform::TimerWheel> timerWheel);
  ~MrpRegistrarSm() override;

  // The event to be processed next.
  void registrarEventIs(MrpRegistrarEvent event) { registrarEvent_ = event; }
  MrpRegistrarEvent registrarEvent() const { return registrarEvent_; }
  // Processes the stored event against the current attribute; nothing when it has no record. The
  // record may be gone afterwards.
  void handleRegistrarEvent();
  // The same for a caller that holds the current attribute's record.
  void handleRegistrarEvent(MrpAttrDatabase& record);

  static MrpRegistrarEvent mrpMapRxRegistrarEvent(std::uint8_t threePackedEvent) {
    return registrarEventOf(threePackedEvent);
  }
  // Nothing happens when the current attribute has no record.
  void mrpSetRegistrarState(MrpRegistrarState state);

  // Leave timers of the current attribute.
  void mrpAddAttrToLeavePending();
  void mrpDeleteAttrFromLeavePending();
  // Drops every leave timer of a port.
  void mrpCancelLeavePending(IntfId intf);

  // Timers of the two collections while they run; null otherwise. `leaveSm` serves LeaveAlls and
  // role changes, `explicitLeaveSm` a received Lv.
  MrpLeaveSm* leaveSm(const MrpAttribute& attribute) const;
  MrpLeaveSm* explicitLeaveSm(const MrpAttribute& attribute) const;
  void leaveSmDelAll();

  void handleTxTimer();
  void handleCfgTimersEnabled();

 private:
  void handleInitialized();
  // Traces of the hot path, apart from it: text building costs it registers even when it is off.
  void traceEvent(const MrpAttrDatabase& record) const;
  void traceExit(const MrpAttrDatabase& record) const;
  void traceInvalidState(const MrpAttrDatabase& record) const;
  bool handleInStateRegistrar(MrpRegistrarEvent event, MrpAttrDatabase& record);
  bool handleLvStateRegistrar(MrpRegistrarEvent event, MrpAttrDatabase& record);
  bool handleMtStateRegistrar(MrpRegistrarEvent event, MrpAttrDatabase& record);
  bool joinUpdate(MrpAttrDatabase& record);
  bool joinIndication();
  void leaveIndication();
  bool dispatch(MrpRegistrarEvent event, MrpAttrDatabase& record);
  void joinDiscarded();
  void addLeavePending(MrpAttrDatabase& record);
  static void delLeavePending(MrpAttrDatabase& record);
  void doScheduleLeaveTimer(MrpLeaveSm& sm, Seconds leaveTime);
  void handleLeaveTimer(Platform::Timer& timer);
  void handleLeavePending(MrpLeaveSm& sm);
  static void leaveSmDrop(MrpLeaveSm& sm);
  void logJoin(MrpRegistrarState state, MrpRegistrarEvent event);
  void logLeave(const char* how, MrpRegistrarState state, MrpRegistrarEvent event);

  MrpSm& mrpSm_;
  Ptr<MrpConfig> mrpConfig_;
  Ptr<Platform::TimerWheel> timerWheel_;
  Platform::MemberTimer txTimer_;
  MrpRegistrarEvent registrarEvent_ = MrpRegistrarEvent::none;
  bool initialized_ = false;
  bool indicated_ = false;  // an indication was given during the event being handled
  Platform::Reactor<> timersEnabledReactor_;
};

}  // namespace Mrp
