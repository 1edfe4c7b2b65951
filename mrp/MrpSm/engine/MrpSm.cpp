#include "mrp/MrpSm/engine/MrpSm.h"

#include <array>

namespace Mrp {
namespace {

constexpr Platform::TimerWheel::Parameters kWheel{
    .tickMsecs = 100, .initialMaxTicks = 60000, .preserveOrder = true, .defaultBucketSize = 1024};
constexpr const char* kCountersName = "MrpCounters";
constexpr const char* kParseContextName = "MrpParseContext";

// Machines' notifications follow the root's.
template <class T, class... Args>
Ptr<T> makeMachine(bool active, Args&&... args) {
  Ptr<T> machine = Platform::makePtr<T>(std::forward<Args>(args)...);
  machine->hasNotificationActiveIs(active);
  return machine;
}

}  // namespace

MrpSm::MrpSm(const Inputs& inputs)
    : brConfig_(inputs.brConfig),
      mrpLib_(inputs.mrpLib),
      mrpConfig_(inputs.mrpConfig),
      mrpStatus_(inputs.mrpStatus),
      stpStatus_(inputs.stpStatus),
      brTopoConfig_(inputs.brTopoConfig),
      ethPhyIntfStatusDir_(inputs.ethPhyIntfStatusDir),
      entityManager_(inputs.entityManager),
      trace_(&entityManager_->services().trace()),
      eventLog_(&entityManager_->services().eventLog()),
      pktManager_(&entityManager_->services().pktManager()),
      standbyMode_(inputs.standbyMode),
      inputs_(inputs) {
  if (stpStatus_) stpStatusSm_ = std::make_unique<StpStatusSm>(StpPath{this, {}}, *stpStatus_);
  handleInitialized();
}

// The packet side goes first, so that nothing more is received; the wheel before the machines whose
// timers it carries.
MrpSm::~MrpSm() {
  if (stpStatusSm_) stpStatusSm_->delAll();
  deviceIntfStatusDir_ = nullptr;
  intfStatusManagerRoot_ = nullptr;
  desiredIntfDir_ = nullptr;
  pamCollection_ = nullptr;
  pamMan_ = nullptr;
  mrpPamSm_ = nullptr;
  timerWheel_ = nullptr;
  applicantSm_ = nullptr;
  registrarSm_ = nullptr;
  leaveAllSm_ = nullptr;
  parseContext_ = nullptr;
  mrpCounters_ = nullptr;
  mrpParsedAttribute_.delAll();
  mrpAttrLogSm_ = nullptr;
  mrpDatabaseDeleteSm_ = nullptr;
  mrpDatabaseAddSm_ = nullptr;
  if (active_) dropPendingChanges();
  if (mrpLib_->mrpSm() != this) return;
  mrpLib_->mrpTxPacketContextDelAll();
  mrpLib_->mrpTxSecondPacketContextDelAll();
  mrpLib_->mrpSmIs(nullptr);
}

void MrpSm::handleInitialized() {
  MRP_TRACE(trace(), 8, "void Mrp::MrpSm::handleInitialized()");
  MRP_ASSERT_TEXT(!initialized(), "!initialized()");
  initialized_ = true;
  database_ = &mrpStatus_->applicationIs(mrpLib_->application());
  mrpLib_->mrpSmIs(this);
  doInitializePamMan();
  handleStandbyMode();
}

void MrpSm::handleStandbyMode() {
  if (standbyMode_ || active_) return;
  doInitializeCounters();
  parseContext_ = Platform::makePtr<MrpParseContext>(kParseContextName);
  parseContext_->eventsCounterIs(0);
  entityManager_->entityIs(kParseContextName, parseContext_);
  doCreateMachines();
  active_ = true;
  mrpPamSm_->standbyModeIs(false);
  mrpPamSm_->handleStandbyMode();
}

void MrpSm::activate() {
  standbyMode_ = false;
  handleStandbyMode();
}

void MrpSm::walkRecords(IntfId intf, std::uint8_t type,
                        const std::function<void(const MrpAttrDatabase&)>& visit) const {
  walkAttributes(intf, type, [&](const MrpAttrDatabase& record) { visit(record); });
}

std::optional<Seconds> MrpSm::leaveAllDue(const MrpLeaveAllKey& key) const {
  const MrpIntfLeaveAllSm* port = leaveAllSm_ ? leaveAllSm_->intfLeaveAllSm(key.intfId) : nullptr;
  if (!port || !port->leaveAllPendingHas(key.attributeType)) return std::nullopt;
  return port->leaveAllPending().at(key.attributeType).expiryTime;
}

void MrpSm::sendLeaveAll(IntfId intf) { mrpPamSm_->transmitAllLeaveAll(intf); }

void MrpSm::doInitializeCounters() {
  mrpCounters_ = Platform::makePtr<MrpCounters>();
  entityManager_->entityIs(kCountersName, mrpCounters_);
  mrpCounters_->numOfIncorrectPduVersionIs(0);
  mrpCounters_->numOfUnknownAttributeTypeIs(0);
  mrpCounters_->numOfMalformedPktsIs(0);
  mrpCounters_->numOfUnknownApplicationIs(0);
  mrpCounters_->numOfIncorrectDmacIs(0);
  mrpCounters_->numOfIncorrectEtypeIs(0);
  mrpCounters_->numOfPktsProcessedIs(0);
  mrpCounters_->numOfPktsTransmittedIs(0);
  mrpCounters_->numOfJoinIndicationsIs(0);
  mrpCounters_->numOfLeaveIndicationsIs(0);
}

// The attribute index needs no rebuilding: it is a view of the records that survived.
void MrpSm::doCreateMachines() {
  const bool on = hasNotificationActive();
  const Ptr<Platform::Clock> clock = entityManager_->services().activityClock();
  timerWheelIs(clock, kWheel);
  mrpAttrLogSm_ =
      makeMachine<MrpAttrLogSm>(on, *this, entityManager_->attrLogOutput(entityManager_->name()));
  mrpDatabaseDeleteSm_ = makeMachine<MrpDatabaseDeleteSm>(on, *this, mrpAttrLogSm_, clock);
  mrpDatabaseAddSm_ = makeMachine<MrpDatabaseAddSm>(on, *this, mrpAttrLogSm_, clock);
  applicantSm_ = makeMachine<MrpApplicantSm>(on, *this, mrpConfig_);
  registrarSm_ = makeMachine<MrpRegistrarSm>(on, *this, mrpConfig_, timerWheel_);
  leaveAllSm_ = makeMachine<MrpLeaveAllSm>(on, *this, mrpConfig_, timerWheel_);
  switch (mrpLib_->application()) {
    case MrpApplication::msrp:
      maxAttrTypes_ = 4;
      break;
    case MrpApplication::mvrp:
      maxAttrTypes_ = 1;
      break;
    default:
      maxAttrTypes_ = 0;
      break;
  }
}

void MrpSm::timerWheelIs(Ptr<Platform::Clock> clock,
                         const Platform::TimerWheel::Parameters& parameters) {
  if (timerWheel_ && &timerWheel_->clock() == clock.get() &&
      timerWheel_->parameters() == parameters) {
    return;
  }
  timerWheel_ = makeMachine<Platform::TimerWheel>(hasNotificationActive(), clock, parameters);
}

void MrpSm::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  const std::array<Platform::Entity*, 10> machines{
      intfStatusManagerRoot_.get(), pamMan_.get(),          mrpPamSm_.get(),   timerWheel_.get(),
      applicantSm_.get(),           registrarSm_.get(),     leaveAllSm_.get(), mrpAttrLogSm_.get(),
      mrpDatabaseDeleteSm_.get(),   mrpDatabaseAddSm_.get()};
  for (Platform::Entity* machine : machines) {
    if (machine) machine->hasNotificationActiveIs(active);
  }
}

Seconds MrpSm::mrpGetLeaveTime(IntfId intf) const {
  const Seconds own = mrpConfig_->intfLeaveTime(intf);
  return own == Seconds() ? mrpConfig_->leaveTime() : own;
}

std::optional<Stp::MstiPortStatus::Role> MrpSm::oldPortRole(IntfId intf) const {
  const auto* role = oldPortRole_.find(intf);
  return role ? std::optional(*role) : std::nullopt;
}

Platform::Described MrpSm::describeCounters() const {
  return mrpCounters_ ? mrpCounters_->describe() : Platform::Described{};
}
Platform::Described MrpSm::describeParseContext() const {
  return parseContext_ ? parseContext_->describe() : Platform::Described{};
}
Platform::Described MrpSm::describePamSm() const {
  return mrpPamSm_ ? mrpPamSm_->describe() : Platform::Described{};
}

std::span<const Platform::AttributeInfo> MrpSm::attributeTable() {
  using A = MrpSm;
  static constexpr std::array table{
      Platform::attribute<A, &A::standbyMode, &A::standbyModeIs>("standbyMode"),
      Platform::attribute<A, &A::protocolVersion, &A::protocolVersionIs>("protocolVersion"),
      Platform::readOnlyAttribute<A, &A::describePamSm>("mrpPamSm"),
      Platform::readOnlyAttribute<A, &A::describeParseContext>("parseContext"),
      Platform::readOnlyAttribute<A, &A::describeCounters>("mrpCounters"),
      Platform::readOnlyAttribute<A, &A::maxAttrTypes>("maxAttrTypes"),
      Platform::attribute<A, &A::recycledPkt, &A::recycledPktIs>("recycledPkt"),
      Platform::readOnlyAttribute<A, &A::initialized>("initialized"),
  };
  return table;
}

Ptr<MrpSm> mrpSmFactory(Ptr<Platform::BridgingConfig> brConfig, MrpLib* mrpLib,
                        Ptr<MrpConfig> mrpConfig, Ptr<MrpStatus> mrpStatus,
                        Ptr<Stp::StpStatus> stpStatus,
                        Ptr<Platform::BridgingTopologyConfig> brTopoConfig,
                        Ptr<Platform::EthPhyIntfStatusDir> ethPhyIntfStatusDir,
                        Ptr<Platform::EntityManager> entityManager, bool standbyMode) {
  Ptr<MrpSm> mrpSm = Platform::makePtr<MrpSm>(
      Engine::Inputs{brConfig, mrpLib, mrpConfig, mrpStatus, stpStatus, brTopoConfig,
                     ethPhyIntfStatusDir, entityManager, standbyMode});
  mrpSm->hasNotificationActiveIs(true);
  return mrpSm;
}

Ptr<Engine> engineFactory(const Engine::Inputs& inputs) {
  Ptr<MrpSm> engine = Platform::makePtr<MrpSm>(inputs);
  engine->hasNotificationActiveIs(true);
  return engine;
}

}  // namespace Mrp
