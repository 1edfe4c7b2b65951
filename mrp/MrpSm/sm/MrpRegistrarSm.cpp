#include "mrp/MrpSm/sm/MrpRegistrarSm.h"

#include "mrp/MrpSm/engine/EventLogs.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/sm/IndicationScope.h"

namespace Mrp {
namespace {

const Seconds kTxPeriod{0.1};

}  // namespace

MrpRegistrarSm::MrpRegistrarSm(MrpSm& mrpSm, Ptr<MrpConfig> mrpConfig,
                               Ptr<Platform::TimerWheel> timerWheel)
    : mrpSm_(mrpSm), mrpConfig_(std::move(mrpConfig)), timerWheel_(std::move(timerWheel)) {
  txTimer_.bind<&MrpRegistrarSm::handleTxTimer>(this);
  timerWheel_->handlerIs<&MrpRegistrarSm::handleLeaveTimer>(MrpLeaveSm::kLeave, this);
  timerWheel_->handlerIs<&MrpRegistrarSm::handleLeaveTimer>(MrpLeaveSm::kExplicitLeave, this);
  timersEnabledReactor_.watch<&MrpRegistrarSm::handleCfgTimersEnabled>(
      mrpConfig_->onTimersEnabled(), this);
  handleInitialized();
}

MrpRegistrarSm::~MrpRegistrarSm() { leaveSmDelAll(); }

void MrpRegistrarSm::handleInitialized() {
  MRP_ASSERT_TEXT(!initialized_, "!initialized()");
  initialized_ = true;
  handleTxTimer();
}

// Declarations of one burst share MRPDUs: open packets leave every tenth of a second.
void MrpRegistrarSm::handleTxTimer() {
  mrpSm_.mrpTransmitTxAttributes();
  timerWheel_->deadlineIs(txTimer_, timerWheel_->clock().now() + kTxPeriod);
}

void MrpRegistrarSm::handleCfgTimersEnabled() {
  if (!hasNotificationActive()) return;
  MRP_TRACE(mrpSm_.trace(), 8, "MrpRegistrarSm::handleCfgTimersEnabled()");
}

void MrpRegistrarSm::handleRegistrarEvent() {
  MrpAttrDatabase* record = mrpSm_.mrpGetAttribute(false);
  if (!record) {
    MRP_TRACE(mrpSm_.trace(), 8, " attribute not found, returning@!!! ");
    return;
  }
  handleRegistrarEvent(*record);
}

void MrpRegistrarSm::handleRegistrarEvent(MrpAttrDatabase& record) {
  const MrpRegistrarEvent event = registrarEvent_;
  const bool traced = mrpSm_.trace().isOn(7);
  if (traced) traceEvent(record);
  if (event == MrpRegistrarEvent::rLv) logLeave("received", record.registrarState(), event);

  // An indication may call the service and so move or delete the record: it ends the hand-on.
  indicated_ = false;
  const bool discarded = dispatch(event, record);
  MrpAttrDatabase* current = indicated_ ? mrpSm_.mrpGetAttribute(false) : &record;
  if (current && traced) traceExit(*current);
  if (discarded) joinDiscarded();
  if (!current) return;
  if (discarded) current->registrarStateIs(MrpRegistrarState::mt);
  if (current->atRest()) {
    delLeavePending(*current);
    mrpSm_.mrpDeleteAttrFromDatabase();
  }
}

void MrpRegistrarSm::traceEvent(const MrpAttrDatabase& record) const {
  const MrpParseContext& context = *mrpSm_.parseContext();
  MRP_TRACE(mrpSm_.trace(), 7,
            "handleRegistrarEvent Key = 0x"
                << std::hex << context.attributeKey() << std::dec
                << " Type= " << +context.attributeType() << " intf = " << context.intfId()
                << " Enter: state = " << record.registrarState() << " event = " << registrarEvent_);
}

bool MrpRegistrarSm::dispatch(MrpRegistrarEvent event, MrpAttrDatabase& record) {
  switch (record.registrarState()) {
    case MrpRegistrarState::in:
      return handleInStateRegistrar(event, record);
    case MrpRegistrarState::lv:
      return handleLvStateRegistrar(event, record);
    case MrpRegistrarState::mt:
      return handleMtStateRegistrar(event, record);
  }
  traceInvalidState(record);
  return false;
}

void MrpRegistrarSm::traceExit(const MrpAttrDatabase& record) const {
  MRP_TRACE(mrpSm_.trace(), 7, " Exit: state = " << record.registrarState());
}

void MrpRegistrarSm::traceInvalidState(const MrpAttrDatabase& record) const {
  MRP_TRACE(mrpSm_.trace(), 8, "Invalid registrar State = " << record.registrarState());
}

bool MrpRegistrarSm::handleInStateRegistrar(MrpRegistrarEvent event, MrpAttrDatabase& record) {
  switch (event) {
    case MrpRegistrarEvent::rNew:
      logJoin(record.registrarState(), event);
      return joinIndication();
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      return joinUpdate(record);
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(record);
      record.registrarStateIs(MrpRegistrarState::lv);
      return false;
    case MrpRegistrarEvent::flush:
      record.registrarStateIs(MrpRegistrarState::mt);
      return false;
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return false;
  }
  return false;
}

bool MrpRegistrarSm::handleLvStateRegistrar(MrpRegistrarEvent event, MrpAttrDatabase& record) {
  switch (event) {
    case MrpRegistrarEvent::rNew:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return joinIndication();
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      record.registrarStateIs(MrpRegistrarState::in);
      delLeavePending(record);
      return joinUpdate(record);
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
      addLeavePending(record);
      return false;
    case MrpRegistrarEvent::flush:
      logLeave("notified", record.registrarState(), event);
      record.registrarStateIs(MrpRegistrarState::mt);
      leaveIndication();
      return false;
    case MrpRegistrarEvent::leaveTimer:
      logLeave("notified", record.registrarState(), event);
      record.registrarStateIs(MrpRegistrarState::mt);
      leaveIndication();
      mrpDeleteAttrFromLeavePending();
      return false;
    case MrpRegistrarEvent::none:
      return false;
  }
  return false;
}

bool MrpRegistrarSm::handleMtStateRegistrar(MrpRegistrarEvent event, MrpAttrDatabase& record) {
  switch (event) {
    case MrpRegistrarEvent::rNew:
    case MrpRegistrarEvent::rJoinIn:
    case MrpRegistrarEvent::rJoinMt:
      // Our own declaration has its record beyond the limit, the neighbour's has none there.
      if (record.onlyDeclared() &&
          mrpSm_.refuses(AttrTable::ownerOf(record), record.attributeKey())) {
        return false;
      }
      logJoin(record.registrarState(), event);
      record.registrarStateIs(MrpRegistrarState::in);
      MRP_TRACE(mrpSm_.trace(), 7, "Join Indication called");
      return joinIndication();
    case MrpRegistrarEvent::rLv:
    case MrpRegistrarEvent::regLvAll_:
    case MrpRegistrarEvent::txLvAll:
    case MrpRegistrarEvent::reDeclare:
    case MrpRegistrarEvent::flush:
    case MrpRegistrarEvent::leaveTimer:
    case MrpRegistrarEvent::none:
      return false;
  }
  return false;
}

// A repeated join of an attribute that is registered: the application hears of it when the value
// has changed. A domain's value is its own station's, so every join of a domain is indicated and
// none is stored.
bool MrpRegistrarSm::joinUpdate(MrpAttrDatabase& record) {
  const bool domain =
      mrpSm_.mrpLib()->application() == MrpApplication::msrp &&
      mrpSm_.parseContext()->attributeType() == static_cast<std::uint8_t>(MsrpAttrType::domain);
  if (!domain) {
    if (mrpSm_.mrpRxVectorSameAs(record)) {
      mrpSm_.mrpCounters()->numOfJoinIndicationsInc();
      return false;
    }
    mrpSm_.mrpPopulateValueInDatabase(record, false);
  }
  return joinIndication();
}

bool MrpRegistrarSm::joinIndication() {
  IndicationScope scope(mrpSm_);
  const bool discarded = mrpSm_.mrpLib()->mrpJoinIndication(scope.parameters());
  indicated_ = true;
  mrpSm_.mrpCounters()->numOfJoinIndicationsInc();
  return discarded;
}

void MrpRegistrarSm::leaveIndication() {
  MRP_TRACE(mrpSm_.trace(), 7, "LeaveIndication called");
  IndicationScope scope(mrpSm_);
  mrpSm_.mrpLib()->mrpLeaveIndication(scope.parameters());
  indicated_ = true;
  mrpSm_.mrpCounters()->numOfLeaveIndicationsInc();
}

void MrpRegistrarSm::mrpSetRegistrarState(MrpRegistrarState state) {
  if (MrpAttrDatabase* record = mrpSm_.mrpGetAttribute(false)) record->registrarStateIs(state);
}

// The log's numbers are crossed against its labels, the trace's are not; readers of the log rely on
// both.
void MrpRegistrarSm::joinDiscarded() {
  const MrpParseContext& context = *mrpSm_.parseContext();
  const unsigned event = context.attributeEvent();
  const unsigned type = context.attributeType();
  MRP_TRACE(mrpSm_.trace(), 4,
            "Join was discarded by MSRP, interface: " << context.intfId() << ", attrType: " << type
                                                      << ", attrEvent: " << event);
  logEvent(mrpSm_.eventLog(), kMrpError, [&] {
    return formatText("Join was discarded by MSRP, interface: %s, attrType: %d, attrEvent: %d",
                      context.intfId().name(), event, type);
  });
}

void MrpRegistrarSm::logJoin(MrpRegistrarState state, MrpRegistrarEvent event) {
  const MrpParseContext& context = *mrpSm_.parseContext();
  logEvent(mrpSm_.eventLog(), kMrpJoin, [&] {
    return formatText(kMrpJoin.format, context.intfId().name(), +context.attributeType(),
                      hexStr(context.attributeKey()), stringValue(state), stringValue(event));
  });
}

void MrpRegistrarSm::logLeave(const char* how, MrpRegistrarState state, MrpRegistrarEvent event) {
  const MrpParseContext& context = *mrpSm_.parseContext();
  logEvent(mrpSm_.eventLog(), kMrpLv, [&] {
    return formatText(kMrpLv.format, how, context.intfId().name(), +context.attributeType(),
                      hexStr(context.attributeKey()), stringValue(state), stringValue(event));
  });
}

}  // namespace Mrp
