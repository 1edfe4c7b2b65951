#pragma once

#include "mrp/MrpSm/db/MrpAttrLogSm.h"
#include "mrp/MrpSm/db/MrpDatabaseSm.h"
#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/engine/Endpoints.h"
#include "mrp/MrpSm/engine/MrpPamSm.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/engine/StpRoles.h"
#include "mrp/MrpSm/rx/Receiver.h"
#include "mrp/MrpSm/service/Service.h"
#include "mrp/MrpSm/sm/Indications.h"
#include "mrp/MrpSm/sm/MrpApplicantSm.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/MrpSm/tx/Transmitter.h"

namespace Mrp {

// The rooms of one engine, and what connects them.
struct EngineRooms final : Inbox, Receiver::Port {
  explicit EngineRooms(const Engine::Inputs& inputs);
  ~EngineRooms();

  // The steps of the engine's life, in their order.
  void initialize(MrpSm& root, bool notifications);
  void activate(bool notifications);
  // The packet side first, so that nothing more is received; the wheel before the machines whose
  // timers it carries. Once.
  void tearDown();
  void notificationsAre(bool active);
  void timerWheelIs(Ptr<Platform::Clock> clock, const Platform::TimerWheel::Parameters& parameters,
                    bool notifications);

  // Inbox
  void readWaiting(IntfId intf) override;
  // Receiver::Port
  void flood(IntfId received, const Pkt& frame) override;
  void frameDone(IntfId intf) override { onFrame.notify(intf); }

  Engine::Inputs inputs;  // mrpLib becomes null when it ends before the engine
  bool standbyMode;
  std::uint8_t protocolVersion = 0;
  bool initialized = false;
  bool active = false;
  Environment env;
  Platform::Signal<IntfId> onFrame;

  Publications publications;
  Records records{env};
  Service service{env, inputs, records};
  StpRoles stpRoles;
  PortWork portWork;
  std::unique_ptr<Endpoints> endpoints;
  Ptr<MrpPamSm> mrpPamSm;

  // From activation on.
  Ptr<MrpCounters> counters;
  Ptr<MrpParseContext> context;
  Ptr<Platform::TimerWheel> timerWheel;
  Ptr<MrpAttrLogSm> attrLogSm;
  Ptr<MrpDatabaseDeleteSm> databaseDeleteSm;
  Ptr<MrpDatabaseAddSm> databaseAddSm;
  std::unique_ptr<Transmitter> transmitter;
  std::unique_ptr<Indications> indications;
  Ptr<MrpApplicantSm> applicantSm;
  Ptr<MrpRegistrarSm> registrarSm;
  Ptr<MrpLeaveAllSm> leaveAllSm;
  std::unique_ptr<Receiver> receiver;

  // The three placeholders that the layout of this system has always had; they carry nothing.
  [[no_unique_address]] PlaceHolder bug466865Padding1;
  struct PlaceHolder2 {};
  [[no_unique_address]] PlaceHolder2 bug466865Padding2;

 private:
  // Null when memory cannot be had.
  Ptr<Pkt> copyOf(const Pkt& frame) const;
  void createScratchRecords();
  void createMachines(bool notifications);
  void connect();
};

}  // namespace Mrp
