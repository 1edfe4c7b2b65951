#pragma once

#include <functional>
#include <optional>

#include "mrp/types/MrpAttribute.h"
#include "mrp/types/PlatformNames.h"
#include "platform/reactor/Entity.h"

namespace Platform {
class BridgingConfig;
class BridgingTopologyConfig;
class EntityManager;
class EthPhyIntfStatusDir;
class PamCollection;
}  // namespace Platform

namespace Stp {
class StpStatus;
}

namespace Mrp {

class MrpApplicationDatabase;
class MrpAttrDatabase;
class MrpConfig;
class MrpCounters;
class MrpLib;
class MrpObserver;
class MrpStatus;
class PeriodSource;

// One running application of the protocol, as its agent sees it. Requests and indications are
// MrpLib's; this is the rest. Everything runs on the agent's event loop, each frame, timer or
// request to completion.
class MRP_API Engine : public Platform::Entity {
 public:
  // What an engine works on. `stpStatus` may be null: roles are then not tracked. MrpLib is not
  // owned; its application is set before. An engine whose MrpLib ends first ends its work then, and
  // is never active again.
  struct Inputs {
    Ptr<Platform::BridgingConfig> brConfig;
    MrpLib* mrpLib = nullptr;
    Ptr<MrpConfig> mrpConfig;
    Ptr<MrpStatus> mrpStatus;
    Ptr<Stp::StpStatus> stpStatus;
    Ptr<Platform::BridgingTopologyConfig> brTopoConfig;
    Ptr<Platform::EthPhyIntfStatusDir> ethPhyIntfStatusDir;
    Ptr<Platform::EntityManager> entityManager;
    bool standbyMode = false;
    // Draws LeaveAll periods; null: the process does. Not owned, outlives the engine.
    PeriodSource* periodSource = nullptr;
  };

  virtual const Inputs& inputs() const = 0;

  // All machines are in place. An engine made in standby has none until it is activated; there is
  // no way back.
  virtual bool active() const = 0;
  virtual void activate() = 0;

  // The ports that have an open endpoint, and whether one was asked for (mrpInterfaceEnable). There
  // are no endpoints to ask for once the service object has ended.
  virtual Platform::PamCollection& endpoints() const = 0;
  virtual bool enabled(IntfId intf) const = 0;

  // The records of this application. `walkRecords` visits what a look-up finds of one port and type
  // in the order of keys; the visitor may call the service, and the walk goes on at the smallest
  // key above.
  virtual const MrpApplicationDatabase& database() const = 0;
  virtual void walkRecords(IntfId intf, std::uint8_t type,
                           const std::function<void(const MrpAttrDatabase&)>& visit) const = 0;
  // When the LeaveAll of a type is due on a port, on the engine's clock; none without a period.
  virtual std::optional<Seconds> leaveAllDue(const MrpLeaveAllKey& key) const = 0;
  // Sends a LeaveAll of every type on a port that has an endpoint, now. Not in standby.
  virtual void sendLeaveAll(IntfId intf) = 0;
  // Puts every registration of a port in doubt: what no neighbour declares again ends after the
  // leave time. Nothing is sent. Not in standby.
  virtual void doubt(IntfId intf) = 0;

  // Counters; null in standby.
  virtual const MrpCounters* counters() const = 0;

  // Notified with the port when all that a received frame declared has been acted on, before what
  // that made the engine declare is sent.
  virtual Platform::Signal<IntfId>& onFrame() = 0;
  // True from the moment a frame begins to act until onFrame has been told.
  virtual bool frameInProgress() const = 0;

  // Not owned; null at first. It outlives the engine, or is taken away before.
  virtual void observerIs(MrpObserver* observer) = 0;
};

// A new engine, notifications on.
MRP_API Ptr<Engine> engineFactory(const Engine::Inputs& inputs);

}  // namespace Mrp
