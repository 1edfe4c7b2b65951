#include "mrp/MrpSm/engine/Rooms.h"

#include <new>

#include "mrp/MrpSm/PeriodSource.h"
#include "platform/Assert.h"
#include "platform/packet/Pam.h"

namespace Mrp {
namespace {

constexpr Platform::TimerWheel::Parameters kWheel{
    .tickMsecs = 100, .initialMaxTicks = 60000, .preserveOrder = true, .defaultBucketSize = 1024};

// Machines' notifications follow the root's.
template <class T, class... Args>
Ptr<T> makeMachine(bool active, Args&&... args) {
  Ptr<T> machine = Platform::makePtr<T>(std::forward<Args>(args)...);
  machine->hasNotificationActiveIs(active);
  return machine;
}

Environment environmentOf(const Engine::Inputs& inputs) {
  MrpLib& lib = *inputs.mrpLib;
  Platform::PlatformServices& services = inputs.entityManager->services();
  return {.application = lib.application(),
          .info = applicationInfo(lib.application()),
          .config = *inputs.mrpConfig,
          .status = *inputs.mrpStatus,
          .database = inputs.mrpStatus->applicationIs(lib.application()),
          .values = lib.values(),
          .trace = services.trace(),
          .eventLog = services.eventLog(),
          .clock = *services.activityClock()};
}

}  // namespace

EngineRooms::EngineRooms(const Engine::Inputs& of)
    : inputs(of),
      standbyMode(of.standbyMode),
      env(environmentOf(of)),
      publications(of.entityManager),
      stpRoles(env, service, of.stpStatus.get()),
      portWork{env, *of.mrpLib} {}

EngineRooms::~EngineRooms() { tearDown(); }

void EngineRooms::initialize(MrpSm& root, bool notifications) {
  stpRoles.watch();
  MRP_TRACE(env.trace, 8, "void Mrp::MrpSm::handleInitialized()");
  MRP_ASSERT_TEXT(!initialized, "!initialized()");
  initialized = true;
  inputs.mrpLib->mrpSmIs(&root);
  endpoints = std::make_unique<Endpoints>(env, inputs, publications);
  stpRoles.desiredAre(endpoints->desired().get());
  service.desiredAre(endpoints->desired().get());
  mrpPamSm = makeMachine<MrpPamSm>(notifications, endpoints->pams(), standbyMode, portWork);
}

// The attribute index needs no rebuilding: it is a view of the records that survived. The endpoints
// are released last, so that no frame is received before every machine is in place.
void EngineRooms::activate(bool notifications) {
  if (standbyMode || active || !inputs.mrpLib) return;
  createScratchRecords();
  createMachines(notifications);
  active = true;
  connect();
  mrpPamSm->standbyModeIs(false);
  mrpPamSm->handleStandbyMode();
}

void EngineRooms::createScratchRecords() {
  counters = Platform::makePtr<MrpCounters>();
  publications.add("MrpCounters", counters);
  context = Platform::makePtr<MrpParseContext>("MrpParseContext");
  publications.add("MrpParseContext", context);
  env.counters = counters.get();
  env.context = context.get();
}

void EngineRooms::createMachines(bool on) {
  Platform::EntityManager& manager = *inputs.entityManager;
  const Ptr<Platform::Clock> clock = manager.services().activityClock();
  timerWheelIs(clock, kWheel, on);
  attrLogSm = makeMachine<MrpAttrLogSm>(on, env, manager.attrLogOutput(manager.name()));
  databaseDeleteSm = makeMachine<MrpDatabaseDeleteSm>(on, env, records, attrLogSm, clock);
  databaseAddSm = makeMachine<MrpDatabaseAddSm>(on, env, records, attrLogSm, clock);
  records.reviewersAre(databaseAddSm.get(), databaseDeleteSm.get());
  transmitter = std::make_unique<Transmitter>(
      env, Transmitter::Ports{*inputs.mrpLib, *endpoints->pams(), *endpoints->allIntfStatus(),
                              *inputs.ethPhyIntfStatusDir, *inputs.brConfig,
                              manager.services().pktManager()});
  indications = std::make_unique<Indications>(env, *inputs.mrpLib);
  applicantSm = makeMachine<MrpApplicantSm>(on, env, records, *transmitter);
  registrarSm = makeMachine<MrpRegistrarSm>(on, env, records, *indications, *this, *transmitter,
                                            inputs.mrpConfig, timerWheel);
  PeriodSource& periods = inputs.periodSource ? *inputs.periodSource : processPeriods();
  leaveAllSm = makeMachine<MrpLeaveAllSm>(
      on, MrpLeaveAllSm::Machines{env, records, *applicantSm, *registrarSm, *transmitter, periods},
      inputs.mrpConfig, timerWheel);
  receiver = std::make_unique<Receiver>(
      env, Receiver::Machines{records, *applicantSm, *registrarSm, *leaveAllSm, *transmitter},
      *this);
}

void EngineRooms::connect() {
  service.machinesAre({applicantSm.get(), registrarSm.get(), leaveAllSm.get(), transmitter.get()});
  stpRoles.leaveAllIs(leaveAllSm.get());
  portWork.receiver = receiver.get();
  portWork.leaveAll = leaveAllSm.get();
}

void EngineRooms::tearDown() {
  if (!endpoints) return;
  stpRoles.desiredAre(nullptr);
  endpoints = nullptr;
  mrpPamSm = nullptr;
  service.machinesAre({});
  service.desiredAre(nullptr);
  stpRoles.leaveAllIs(nullptr);
  portWork.receiver = nullptr;
  portWork.leaveAll = nullptr;
  receiver = nullptr;
  timerWheel = nullptr;
  applicantSm = nullptr;
  registrarSm = nullptr;
  leaveAllSm = nullptr;
  records.reviewersAre(nullptr, nullptr);
  attrLogSm = nullptr;
  databaseDeleteSm = nullptr;
  databaseAddSm = nullptr;
  if (active) records.dropPending();
  active = false;
}

void EngineRooms::timerWheelIs(Ptr<Platform::Clock> clock,
                               const Platform::TimerWheel::Parameters& parameters,
                               bool notifications) {
  if (timerWheel && &timerWheel->clock() == clock.get() && timerWheel->parameters() == parameters) {
    return;
  }
  timerWheel = makeMachine<Platform::TimerWheel>(notifications, clock, parameters);
}

void EngineRooms::notificationsAre(bool on) {
  if (endpoints) endpoints->hasNotificationActiveIs(on);
  const std::array<Platform::Entity*, 8> machines{
      mrpPamSm.get(),   timerWheel.get(), applicantSm.get(),      registrarSm.get(),
      leaveAllSm.get(), attrLogSm.get(),  databaseDeleteSm.get(), databaseAddSm.get()};
  for (Platform::Entity* machine : machines) {
    if (machine) machine->hasNotificationActiveIs(on);
  }
}

void EngineRooms::readWaiting(IntfId intf) {
  const Ptr<MrpIntfPamSm> port(mrpPamSm->mrpIntfPamSm(intf));
  if (port && port->pam().ethDevPam() && port->pam().rxPktWaiting()) port->handleMrpdu();
}

// The copy is of what stands in the buffer: of a tagged frame, what its removal of the tag left.
void EngineRooms::flood(IntfId received, const Pkt& frame) {
  if (const Ptr<Pkt> copy = copyOf(frame)) {
    mrpPamSm->floodMsrpdu(received, copy);
    return;
  }
  MRP_TRACE(env.trace, 4, "Packet allocation failed for a flooded copy on " << received);
  env.discarded(MrpObserver::Reason::noPacket, {received, 0, 0});
}

Ptr<Pkt> EngineRooms::copyOf(const Pkt& frame) const {
  try {
    Ptr<Pkt> copy = inputs.entityManager->services().pktManager().pktIs(0, frame.size());
    if (copy) copy->append(frame.octets());
    return copy;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace Mrp
