#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/env/EventLogs.h"
#include "mrp/MrpSm/sm/Indications.h"
#include "platform/Assert.h"

namespace Mrp {
namespace {

const Seconds kTxPeriod{0.1};

}  // namespace

// What the application is to hear of an event, once the state is written. An indication ends the
// hand-on of the record: the application may have moved or deleted it.
enum class MrpRegistrarSm::Tells : std::uint8_t { nothing, join, leave };

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

  const MrpAttribute attribute = subject.attribute();
  const MrpRegistrarState from = record->registrarState();
  const Tells tells = dispatch(subject, event);
  if (env_.observed()) observeTransition(attribute, from, event, record->registrarState());
  bool discarded = false;
  if (tells != Tells::nothing) {
    discarded = indicate(attribute, tells);
    if (event == MrpRegistrarEvent::leaveTimer) mrpDeleteAttrFromLeavePending(attribute);
    record = records_.find(attribute);
  }
  if (record && traced) traceExit(record->registrarState());
  if (discarded) joinDiscarded(attribute);
  if (!record) return;
  if (discarded) record->registrarStateIs(MrpRegistrarState::mt);
  if (!record->atRest()) return;
  delLeavePending(*record);
  records_.deletePending(attribute);
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

MrpRegistrarSm::Tells MrpRegistrarSm::dispatch(const Subject& subject, MrpRegistrarEvent event) {
  switch (subject.record->registrarState()) {
    case MrpRegistrarState::in:
      return handleInStateRegistrar(subject, event);
    case MrpRegistrarState::lv:
      return handleLvStateRegistrar(subject, event);
    case MrpRegistrarState::mt:
      return handleMtStateRegistrar(subject, event);
  }
  traceInvalidState(subject.record->registrarState());
  return Tells::nothing;
}

void MrpRegistrarSm::traceExit(MrpRegistrarState state) const {
  MRP_TRACE(env_.trace, 7, " Exit: state = " << state);
}

void MrpRegistrarSm::traceInvalidState(MrpRegistrarState state) const {
  MRP_TRACE(env_.trace, 8, "Invalid registrar State = " << state);
}

MrpRegistrarSm::Tells MrpRegistrarSm::handleInStateRegistrar(const Subject& subject,
                                                               MrpRegistrarEvent event) {
  switch (event) {
    case MrpRegistrarEvent::rNew:
      logJoin(subject, event);
      return Tells::join;
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      return joinUpdate(subject);
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(subject, event);
      subject.record->registrarStateIs(MrpRegistrarState::lv);
      return Tells::nothing;
    case MrpRegistrarEvent::flush:
      subject.record->registrarStateIs(MrpRegistrarState::mt);
      return Tells::nothing;
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return Tells::nothing;
  }
  return Tells::nothing;
}

MrpRegistrarSm::Tells MrpRegistrarSm::handleLvStateRegistrar(const Subject& subject,
                                                               MrpRegistrarEvent event) {
  MrpAttrDatabase& record = *subject.record;
  switch (event) {
    case MrpRegistrarEvent::rNew:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return Tells::join;
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
      return Tells::nothing;
    case MrpRegistrarEvent::flush:
    case MrpRegistrarEvent::leaveTimer:
      logLeave("notified", subject, event);
      record.registrarStateIs(MrpRegistrarState::mt);
      return Tells::leave;
    case MrpRegistrarEvent::none:
      return Tells::nothing;
  }
  return Tells::nothing;
}

MrpRegistrarSm::Tells MrpRegistrarSm::handleMtStateRegistrar(const Subject& subject,
                                                               MrpRegistrarEvent event) {
  MrpAttrDatabase& record = *subject.record;
  switch (event) {
    case MrpRegistrarEvent::rNew:
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      // Our own declaration has its record beyond the limit, the neighbour's has none there.
      if (record.onlyDeclared() &&
          records_.refuses(AttrTable::ownerOf(record), record.attributeKey())) {
        return Tells::nothing;
      }
      logJoin(subject, event);
      record.registrarStateIs(MrpRegistrarState::in);
      MRP_TRACE(env_.trace, 7, "Join Indication called");
      return Tells::join;
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
    case MrpRegistrarEvent::flush:
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return Tells::nothing;
  }
  return Tells::nothing;
}

// A repeated join of an attribute that is registered: the application hears of it when the value
// has changed. Where the value is each station's own, every join is indicated and none is stored.
MrpRegistrarSm::Tells MrpRegistrarSm::joinUpdate(const Subject& subject) {
  const AttributeTypeInfo* type = env_.info.type(subject.type);
  if (!type || !type->own) {
    const std::span<const std::uint8_t> received = env_.values.rxImage(subject.type);
    if (!received.empty() && subject.record->valueEquals(received)) {
      env_.counters->numOfJoinIndicationsInc();
      return Tells::nothing;
    }
    subject.record->valueIs(received);
  }
  return Tells::join;
}

// True when the application has discarded a join. The record may be gone afterwards.
bool MrpRegistrarSm::indicate(const MrpAttribute& attribute, Tells tells) {
  if (tells == Tells::join) return indications_.join(attribute);
  MRP_TRACE(env_.trace, 7, "LeaveIndication called");
  indications_.leave(attribute);
  return false;
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
