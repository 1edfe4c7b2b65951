#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/env/EventLogs.h"
#include "mrp/MrpSm/sm/Indications.h"
#include "platform/Assert.h"

namespace Mrp {
namespace {

const Seconds kTxPeriod{0.1};

}  // namespace

// What an event came to. An indication ends the hand-on of the record: the application may have
// moved or deleted it.
struct MrpRegistrarSm::Outcome {
  bool indicated = false;
  bool discarded = false;  // by the application
};

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
  const MrpAttribute current = env_.current();
  MrpAttrDatabase* record = records_.find(current);
  if (!record) {
    MRP_TRACE(env_.trace, 8, " attribute not found, returning@!!! ");
    return;
  }
  handle({current.intfId, current.attributeType, record}, registrarEvent_);
}

void MrpRegistrarSm::handle(const Subject& subject, MrpRegistrarEvent event) {
  MrpAttrDatabase* record = subject.record;
  const bool traced = env_.trace.isOn(7);
  if (traced) traceEvent(subject, event);
  if (event == MrpRegistrarEvent::rLv) logLeave("received", subject, event);

  const MrpRegistrarState from = record->registrarState();
  const std::uint64_t key = record->attributeKey();
  const Outcome outcome = dispatch(subject, event);
  if (outcome.indicated) record = records_.find({subject.intf, subject.type, key});
  if (record && traced) traceExit(record->registrarState());
  if (outcome.discarded) joinDiscarded({subject.intf, subject.type, key});
  if (!record) return;
  if (outcome.discarded) record->registrarStateIs(MrpRegistrarState::mt);
  if (env_.observed()) {
    observeTransition({subject.intf, subject.type, key}, from, event, record->registrarState());
  }
  if (!record->atRest()) return;
  delLeavePending(*record);
  records_.deletePending({subject.intf, subject.type, key});
}

void MrpRegistrarSm::observeTransition(const MrpAttribute& attribute, MrpRegistrarState from,
                                       MrpRegistrarEvent event, MrpRegistrarState to) const {
  env_.observe(&MrpObserver::transition,
               {MrpObserver::Machine::registrar, static_cast<std::uint8_t>(from),
                static_cast<std::uint8_t>(event), static_cast<std::uint8_t>(to), attribute});
}

void MrpRegistrarSm::traceEvent(const Subject& subject, MrpRegistrarEvent event) const {
  MRP_TRACE(env_.trace, 7,
            "handleRegistrarEvent Key = 0x"
                << std::hex << subject.key() << std::dec << " Type= " << +subject.type
                << " intf = " << subject.intf
                << " Enter: state = " << subject.record->registrarState() << " event = " << event);
}

MrpRegistrarSm::Outcome MrpRegistrarSm::dispatch(const Subject& subject, MrpRegistrarEvent event) {
  switch (subject.record->registrarState()) {
    case MrpRegistrarState::in:
      return handleInStateRegistrar(subject, event);
    case MrpRegistrarState::lv:
      return handleLvStateRegistrar(subject, event);
    case MrpRegistrarState::mt:
      return handleMtStateRegistrar(subject, event);
  }
  traceInvalidState(subject.record->registrarState());
  return {};
}

void MrpRegistrarSm::traceExit(MrpRegistrarState state) const {
  MRP_TRACE(env_.trace, 7, " Exit: state = " << state);
}

void MrpRegistrarSm::traceInvalidState(MrpRegistrarState state) const {
  MRP_TRACE(env_.trace, 8, "Invalid registrar State = " << state);
}

MrpRegistrarSm::Outcome MrpRegistrarSm::handleInStateRegistrar(const Subject& subject,
                                                               MrpRegistrarEvent event) {
  switch (event) {
    case MrpRegistrarEvent::rNew:
      logJoin(subject, event);
      return joinIndication(subject);
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      return joinUpdate(subject);
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(subject, event);
      subject.record->registrarStateIs(MrpRegistrarState::lv);
      return {};
    case MrpRegistrarEvent::flush:
      subject.record->registrarStateIs(MrpRegistrarState::mt);
      return {};
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return {};
  }
  return {};
}

MrpRegistrarSm::Outcome MrpRegistrarSm::handleLvStateRegistrar(const Subject& subject,
                                                               MrpRegistrarEvent event) {
  MrpAttrDatabase& record = *subject.record;
  switch (event) {
    case MrpRegistrarEvent::rNew:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return joinIndication(subject);
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return joinUpdate(subject);
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(subject, event);
      return {};
    case MrpRegistrarEvent::flush:
      logLeave("notified", subject, event);
      record.registrarStateIs(MrpRegistrarState::mt);
      return leaveIndication(subject);
    case MrpRegistrarEvent::leaveTimer: {
      const MrpAttribute attribute = subject.attribute();
      logLeave("notified", subject, event);
      record.registrarStateIs(MrpRegistrarState::mt);
      const Outcome outcome = leaveIndication(subject);
      mrpDeleteAttrFromLeavePending(attribute);
      return outcome;
    }
    case MrpRegistrarEvent::none:
      return {};
  }
  return {};
}

MrpRegistrarSm::Outcome MrpRegistrarSm::handleMtStateRegistrar(const Subject& subject,
                                                               MrpRegistrarEvent event) {
  MrpAttrDatabase& record = *subject.record;
  switch (event) {
    case MrpRegistrarEvent::rNew:
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      // Our own declaration has its record beyond the limit, the neighbour's has none there.
      if (record.onlyDeclared() &&
          records_.refuses(AttrTable::ownerOf(record), record.attributeKey())) {
        return {};
      }
      logJoin(subject, event);
      record.registrarStateIs(MrpRegistrarState::in);
      MRP_TRACE(env_.trace, 7, "Join Indication called");
      return joinIndication(subject);
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
    case MrpRegistrarEvent::flush:
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return {};
  }
  return {};
}

// A repeated join of an attribute that is registered: the application hears of it when the value
// has changed. Where the value is each station's own, every join is indicated and none is stored.
MrpRegistrarSm::Outcome MrpRegistrarSm::joinUpdate(const Subject& subject) {
  const AttributeTypeInfo* type = env_.info.type(subject.type);
  if (!type || !type->own) {
    const std::span<const std::uint8_t> received = env_.values.rxImage(subject.type);
    if (!received.empty() && subject.record->valueEquals(received)) {
      env_.counters->numOfJoinIndicationsInc();
      return {};
    }
    subject.record->valueIs(received);
  }
  return joinIndication(subject);
}

MrpRegistrarSm::Outcome MrpRegistrarSm::joinIndication(const Subject& subject) {
  return {.indicated = true, .discarded = indications_.join(subject.attribute())};
}

MrpRegistrarSm::Outcome MrpRegistrarSm::leaveIndication(const Subject& subject) {
  MRP_TRACE(env_.trace, 7, "LeaveIndication called");
  indications_.leave(subject.attribute());
  return {.indicated = true};
}

void MrpRegistrarSm::mrpSetRegistrarState(MrpRegistrarState state) {
  if (MrpAttrDatabase* record = records_.find(env_.current())) record->registrarStateIs(state);
}

// The log's numbers are crossed against its labels, the trace's are not; readers of the log rely on
// both.
void MrpRegistrarSm::joinDiscarded(const MrpAttribute& attribute) {
  const unsigned event = env_.context->attributeEvent();
  const unsigned type = attribute.attributeType;
  MRP_TRACE(env_.trace, 4,
            "Join was discarded by MSRP, interface: " << attribute.intfId << ", attrType: " << type
                                                      << ", attrEvent: " << event);
  logEvent(env_.eventLog, kMrpError, [&] {
    return formatText("Join was discarded by MSRP, interface: %s, attrType: %d, attrEvent: %d",
                      attribute.intfId.name(), event, type);
  });
  env_.discarded(MrpObserver::Reason::joinDiscarded, attribute);
}

void MrpRegistrarSm::logJoin(const Subject& subject, MrpRegistrarEvent event) const {
  logEvent(env_.eventLog, kMrpJoin, [&] {
    return formatText(kMrpJoin.format, subject.intf.name(), +subject.type, hexStr(subject.key()),
                      stringValue(subject.record->registrarState()), stringValue(event));
  });
}

void MrpRegistrarSm::logLeave(const char* how, const Subject& subject,
                              MrpRegistrarEvent event) const {
  logEvent(env_.eventLog, kMrpLv, [&] {
    return formatText(kMrpLv.format, how, subject.intf.name(), +subject.type, hexStr(subject.key()),
                      stringValue(subject.record->registrarState()), stringValue(event));
  });
}

}  // namespace Mrp
