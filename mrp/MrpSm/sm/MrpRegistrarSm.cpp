#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/env/EventLogs.h"
#include "mrp/MrpSm/sm/Indications.h"
#include "platform/Assert.h"

namespace Mrp {
namespace {

const Seconds kTxPeriod{0.1};

// What stays in LV may start its timer anew.
bool isIdle(MrpRegistrarState from, MrpRegistrarState to) {
  return from == to && from != MrpRegistrarState::lv;
}

}  // namespace

MrpRegistrarSm::MrpRegistrarSm(const Environment& env, Records& records, Indications& indications,
                               Inbox& inbox, Outbox& outbox, Ptr<MrpConfig> mrpConfig,
                               Ptr<Platform::TimerWheel> timerWheel)
    : env_(env),
      records_(records),
      indications_(indications),
      inbox_(inbox),
      outbox_(outbox),
      mrpConfig_(std::move(mrpConfig)),
      timerWheel_(std::move(timerWheel)) {
  txTimer_.bind<&MrpRegistrarSm::handleTxTimer>(this);
  timerWheel_->handlerIs<&MrpRegistrarSm::handleLeaveTimer>(MrpLeaveSm::kLeave, this);
  timerWheel_->handlerIs<&MrpRegistrarSm::handleLeaveTimer>(MrpLeaveSm::kExplicitLeave, this);
  timersEnabledReactor_.watch<&MrpRegistrarSm::handleCfgTimersEnabled>(
      mrpConfig_->onTimersEnabled(), this);
  handleInitialized();
}

MrpRegistrarSm::~MrpRegistrarSm() {
  leaveSmDelAll();
  explicitLeaveSmDelAll();
}

void MrpRegistrarSm::handleInitialized() {
  MRP_ASSERT_TEXT(!initialized_, "!initialized()");
  initialized_ = true;
  handleTxTimer();
}

// Declarations of one burst share MRPDUs: open packets leave every tenth of a second.
void MrpRegistrarSm::handleTxTimer() {
  outbox_.flush();
  timerWheel_->deadlineIs(txTimer_, timerWheel_->clock().now() + kTxPeriod);
}

void MrpRegistrarSm::handleCfgTimersEnabled() {
  if (!hasNotificationActive()) return;
  MRP_TRACE(env_.trace, 8, "MrpRegistrarSm::handleCfgTimersEnabled()");
}

void MrpRegistrarSm::handleRegistrarEvent() {
  if (const Subject subject = records_.find(env_.current())) {
    handle(subject, registrarEvent_);
  } else {
    MRP_TRACE(env_.trace, 8, " attribute not found, returning@!!! ");
  }
}

void MrpRegistrarSm::tellEvent(Subject subject, MrpRegistrarEvent event) const {
  MRP_TRACE(env_.trace, 7,
            "handleRegistrarEvent Key = 0x"
                << std::hex << subject.key() << std::dec << " Type= " << +subject.type()
                << " intf = " << subject.intf()
                << " Enter: state = " << subject.record->registrarState() << " event = " << event);
}

void MrpRegistrarSm::tellExit(MrpRegistrarState state) const {
  MRP_TRACE(env_.trace, 7, " Exit: state = " << state);
}

inline void MrpRegistrarSm::moved(Subject subject, Cause cause) const {
  const bool idle = isIdle(cause.from, subject.record->registrarState());
  if (env_.observed() && (!idle || env_.tellsIdle)) tellMove(subject, cause);
}

void MrpRegistrarSm::tellMove(Subject subject, Cause cause) const {
  const MrpRegistrarState to = subject.record->registrarState();
  env_.moved(MrpObserver::Machine::registrar, cause.from, cause.event, to, subject.attribute());
}

void MrpRegistrarSm::tellInvalid(MrpRegistrarState state) const {
  MRP_TRACE(env_.trace, 8, "Invalid registrar State = " << state);
}

// A repeated join of an attribute that is registered: the application hears of it when the value
// has changed. Where the value is each station's own, every join is indicated and none is stored.
inline MrpRegistrarSm::Outcome MrpRegistrarSm::joinUpdate(Subject subject, Cause cause) {
  const AttributeTypeInfo* type = subject.types->info();
  const std::span<const std::uint8_t> received = env_.values.rxImage(subject.type());
  if (!type || type->own || !subject.record->valueEquals(received))
    return joinChanged(subject, cause);
  env_.counters->numOfJoinIndicationsInc();
  return Outcome::quiet;
}

MrpRegistrarSm::Outcome MrpRegistrarSm::joinChanged(Subject subject, Cause cause) {
  const AttributeTypeInfo* type = subject.types->info();
  if (!type || !type->own) subject.record->valueIs(env_.values.rxImage(subject.type()));
  return joinIndication(subject, cause);
}

inline MrpRegistrarSm::Outcome MrpRegistrarSm::handleInStateRegistrar(Subject subject,
                                                                      MrpRegistrarEvent event) {
  switch (event) {
    case MrpRegistrarEvent::rNew:
      logJoin(subject, event);
      return joinIndication(subject, {MrpRegistrarState::in, event});
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      return joinUpdate(subject, {MrpRegistrarState::in, event});
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(subject, event);
      subject.record->registrarStateIs(MrpRegistrarState::lv);
      return Outcome::quiet;
    case MrpRegistrarEvent::flush:
      subject.record->registrarStateIs(MrpRegistrarState::mt);
      return Outcome::quiet;
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return Outcome::quiet;
  }
  return Outcome::quiet;
}

MrpRegistrarSm::Outcome MrpRegistrarSm::handleLvStateRegistrar(Subject subject,
                                                               MrpRegistrarEvent event) {
  MrpAttrDatabase& record = *subject.record;
  switch (event) {
    case MrpRegistrarEvent::rNew:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return joinIndication(subject, {MrpRegistrarState::lv, event});
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return joinUpdate(subject, {MrpRegistrarState::lv, event});
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(subject, event);
      return Outcome::quiet;
    case MrpRegistrarEvent::flush:
      logLeave("notified", subject, event);
      record.registrarStateIs(MrpRegistrarState::mt);
      return leaveIndication(subject, {MrpRegistrarState::lv, event});
    case MrpRegistrarEvent::leaveTimer: {
      const MrpAttribute attribute = subject.attribute();
      logLeave("notified", subject, event);
      record.registrarStateIs(MrpRegistrarState::mt);
      const Outcome outcome = leaveIndication(subject, {MrpRegistrarState::lv, event});
      mrpDeleteAttrFromLeavePending(attribute);
      return outcome;
    }
    case MrpRegistrarEvent::none:
      return Outcome::quiet;
  }
  return Outcome::quiet;
}

MrpRegistrarSm::Outcome MrpRegistrarSm::handleMtStateRegistrar(Subject subject,
                                                               MrpRegistrarEvent event) {
  MrpAttrDatabase& record = *subject.record;
  switch (event) {
    case MrpRegistrarEvent::rNew:
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      // Our own declaration has its record beyond the limit, the neighbour's has none there.
      if (record.onlyDeclared() && records_.refuses(*subject.types, record.attributeKey())) {
        return Outcome::quiet;
      }
      logJoin(subject, event);
      record.registrarStateIs(MrpRegistrarState::in);
      MRP_TRACE(env_.trace, 7, "Join Indication called");
      return joinIndication(subject, {MrpRegistrarState::mt, event});
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
    case MrpRegistrarEvent::flush:
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return Outcome::quiet;
  }
  return Outcome::quiet;
}

inline MrpRegistrarSm::Outcome MrpRegistrarSm::dispatch(Subject subject, MrpRegistrarEvent event) {
  switch (subject.record->registrarState()) {
    case MrpRegistrarState::in:
      return handleInStateRegistrar(subject, event);
    case MrpRegistrarState::lv:
      return handleLvStateRegistrar(subject, event);
    case MrpRegistrarState::mt:
      return handleMtStateRegistrar(subject, event);
  }
  tellInvalid(subject.record->registrarState());
  return Outcome::quiet;
}

void MrpRegistrarSm::handle(Subject subject, MrpRegistrarEvent event) {
  if (env_.trace.isOn(7)) tellEvent(subject, event);
  if (event == MrpRegistrarEvent::rLv) logLeave("received", subject, event);

  const MrpRegistrarState from = subject.record->registrarState();
  const std::uint64_t key = subject.key();
  const Outcome outcome = dispatch(subject, event);
  if (outcome != Outcome::quiet) return handleIndicated(*subject.types, key, outcome);
  moved(subject, {from, event});
  if (env_.trace.isOn(7)) tellExit(subject.record->registrarState());
  deleteAtRest(subject);
}

void MrpRegistrarSm::handleIndicated(const MrpIntfTypeApplicant& types, std::uint64_t key,
                                     Outcome outcome) {
  const IntfId intf = types.intfId();
  const std::uint8_t type = types.attributeType();
  const Subject subject = records_.find(intf, type, key);
  if (subject && env_.trace.isOn(7)) tellExit(subject.record->registrarState());
  if (outcome == Outcome::discarded) joinDiscarded(intf, type, key);
  if (!subject) return;
  if (outcome == Outcome::discarded) subject.record->registrarStateIs(MrpRegistrarState::mt);
  deleteAtRest(subject);
}

inline void MrpRegistrarSm::deleteAtRest(Subject subject) {
  if (!subject.record->atRest()) return;
  delLeavePending(*subject.record);
  records_.deletePending(subject);
}

MrpRegistrarSm::Outcome MrpRegistrarSm::joinIndication(Subject subject, Cause cause) {
  moved(subject, cause);
  return indications_.join(subject.attribute()) ? Outcome::discarded : Outcome::indicated;
}

MrpRegistrarSm::Outcome MrpRegistrarSm::leaveIndication(Subject subject, Cause cause) {
  moved(subject, cause);
  MRP_TRACE(env_.trace, 7, "LeaveIndication called");
  indications_.leave(subject.attribute());
  return Outcome::indicated;
}

void MrpRegistrarSm::mrpSetRegistrarState(MrpRegistrarState state) {
  if (const Subject subject = records_.find(env_.current())) {
    subject.record->registrarStateIs(state);
  }
}

// The log's numbers are crossed against its labels, the trace's are not; readers of the log rely on
// both.
void MrpRegistrarSm::joinDiscarded(IntfId intf, std::uint8_t type, std::uint64_t key) {
  const unsigned event = env_.context->attributeEvent();
  MRP_TRACE(env_.trace, 4,
            "Join was discarded by MSRP, interface: " << intf << ", attrType: " << +type
                                                      << ", attrEvent: " << event);
  logEvent(env_.eventLog, kMrpError, [&] {
    return formatText("Join was discarded by MSRP, interface: %s, attrType: %d, attrEvent: %d",
                      intf.name(), event, unsigned{type});
  });
  env_.discarded(MrpObserver::Reason::joinDiscarded, {intf, type, key});
}

void MrpRegistrarSm::logJoin(Subject subject, MrpRegistrarEvent event) const {
  logEvent(env_.eventLog, kMrpJoin, [&] {
    return formatText(kMrpJoin.format, subject.intf().name(), +subject.type(),
                      hexStr(subject.key()), stringValue(subject.record->registrarState()),
                      stringValue(event));
  });
}

void MrpRegistrarSm::logLeave(const char* how, Subject subject, MrpRegistrarEvent event) const {
  logEvent(env_.eventLog, kMrpLv, [&] {
    return formatText(kMrpLv.format, how, subject.intf().name(), +subject.type(),
                      hexStr(subject.key()), stringValue(subject.record->registrarState()),
                      stringValue(event));
  });
}

}  // namespace Mrp
