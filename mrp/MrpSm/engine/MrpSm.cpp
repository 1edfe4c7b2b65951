#include "mrp/MrpSm/engine/MrpSm.h"

#include <array>
#include <utility>

#include "mrp/MrpSm/engine/Rooms.h"
#include "platform/Assert.h"

namespace Mrp {

MrpSm::MrpSm(const Inputs& inputs) : rooms_(std::make_unique<EngineRooms>(inputs)) {
  rooms_->initialize(*this, hasNotificationActive());
  handleStandbyMode();
}

MrpSm::~MrpSm() { mrpLibGone(); }

void MrpSm::mrpLibGone() {
  MrpLib* lib = std::exchange(rooms_->inputs.mrpLib, nullptr);
  rooms_->tearDown();
  if (!lib || lib->mrpSm() != this) return;
  lib->mrpTxPacketContextDelAll();
  lib->mrpTxSecondPacketContextDelAll();
  lib->mrpSmIs(nullptr);
}

// --- Engine --------------------------------------------------------------------------------------

const Engine::Inputs& MrpSm::inputs() const { return rooms_->inputs; }
bool MrpSm::active() const { return rooms_->active; }

void MrpSm::activate() {
  rooms_->standbyMode = false;
  handleStandbyMode();
}

Platform::PamCollection& MrpSm::endpoints() const {
  MRP_ASSERT_TEXT(pamCollection(), "the service object has not ended");
  return *pamCollection();
}

bool MrpSm::enabled(IntfId intf) const {
  return desiredIntfDir() && desiredIntfDir()->intfDesired(intf);
}

const MrpApplicationDatabase& MrpSm::database() const { return rooms_->env.database; }

void MrpSm::walkRecords(IntfId intf, std::uint8_t type,
                        const std::function<void(const MrpAttrDatabase&)>& visit) const {
  rooms_->records.walk(intf, type, [&](Subject subject) { visit(*subject.record); });
}

std::optional<Seconds> MrpSm::leaveAllDue(const MrpLeaveAllKey& key) const {
  const MrpIntfLeaveAllSm* port = leaveAllSm() ? leaveAllSm()->intfLeaveAllSm(key.intfId) : nullptr;
  if (!port || !port->leaveAllPendingHas(key.attributeType)) return std::nullopt;
  return port->leaveAllPending().at(key.attributeType).expiryTime;
}

void MrpSm::sendLeaveAll(IntfId intf) {
  MRP_ASSERT_TEXT(active(), "initialized() && !standbyMode()");
  mrpPamSm()->transmitAllLeaveAll(intf);
}

void MrpSm::doubt(IntfId intf) {
  MRP_ASSERT_TEXT(active(), "initialized() && !standbyMode()");
  leaveAllSm()->postToAllTypes(intf, MrpApplicantEvent::none, MrpRegistrarEvent::reDeclare);
}

const MrpCounters* MrpSm::counters() const { return rooms_->counters.get(); }
Platform::Signal<IntfId>& MrpSm::onFrame() { return rooms_->onFrame; }
bool MrpSm::frameInProgress() const { return rooms_->receiver && rooms_->receiver->busy(); }
void MrpSm::observerIs(MrpObserver* observer) {
  rooms_->env.observer = observer;
  rooms_->env.tellsIdle = observer && observer->wantsIdle();
}

// --- Lifecycle -----------------------------------------------------------------------------------

bool MrpSm::standbyMode() const { return rooms_->standbyMode; }
void MrpSm::standbyModeIs(bool standbyMode) { rooms_->standbyMode = standbyMode; }
void MrpSm::handleStandbyMode() { rooms_->activate(hasNotificationActive()); }

void MrpSm::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  rooms_->notificationsAre(active);
}

void MrpSm::timerWheelIs(Ptr<Platform::Clock> clock, std::uint32_t tickMsecs,
                         std::uint32_t initialMaxTicks, bool preserveOrder,
                         std::uint32_t defaultBucketSize) {
  rooms_->timerWheelIs(std::move(clock),
                       {.tickMsecs = tickMsecs,
                        .initialMaxTicks = initialMaxTicks,
                        .preserveOrder = preserveOrder,
                        .defaultBucketSize = defaultBucketSize},
                       hasNotificationActive());
}

// --- Attributes by name --------------------------------------------------------------------------

Platform::Described MrpSm::describeCounters() const {
  return mrpCounters() ? mrpCounters()->describe() : Platform::Described{};
}
Platform::Described MrpSm::describeParseContext() const {
  return parseContext() ? parseContext()->describe() : Platform::Described{};
}
Platform::Described MrpSm::describePamSm() const {
  return mrpPamSm() ? mrpPamSm()->describe() : Platform::Described{};
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

// --- Factories -----------------------------------------------------------------------------------

Ptr<Engine> engineFactory(const Engine::Inputs& inputs) {
  Ptr<MrpSm> engine = Platform::makePtr<MrpSm>(inputs);
  engine->hasNotificationActiveIs(true);
  return engine;
}

Ptr<MrpSm> mrpSmFactory(Ptr<Platform::BridgingConfig> brConfig, MrpLib* mrpLib,
                        Ptr<MrpConfig> mrpConfig, Ptr<MrpStatus> mrpStatus,
                        Ptr<Stp::StpStatus> stpStatus,
                        Ptr<Platform::BridgingTopologyConfig> brTopoConfig,
                        Ptr<Platform::EthPhyIntfStatusDir> ethPhyIntfStatusDir,
                        Ptr<Platform::EntityManager> entityManager, bool standbyMode) {
  Engine::Inputs inputs;
  inputs.brConfig = std::move(brConfig);
  inputs.mrpLib = mrpLib;
  inputs.mrpConfig = std::move(mrpConfig);
  inputs.mrpStatus = std::move(mrpStatus);
  inputs.stpStatus = std::move(stpStatus);
  inputs.brTopoConfig = std::move(brTopoConfig);
  inputs.ethPhyIntfStatusDir = std::move(ethPhyIntfStatusDir);
  inputs.entityManager = std::move(entityManager);
  inputs.standbyMode = standbyMode;
  Ptr<MrpSm> engine = Platform::makePtr<MrpSm>(inputs);
  engine->hasNotificationActiveIs(true);
  return engine;
}

}  // namespace Mrp
