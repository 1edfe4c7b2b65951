#pragma once

#include <optional>
#include <string>

#include "platform/interface/IntfStatus.h"
#include "platform/log/EventLog.h"
#include "platform/log/Trace.h"
#include "platform/packet/EthDevPamManager.h"
#include "platform/packet/PamDirs.h"
#include "platform/reactor/Entity.h"
#include "platform/time/Clock.h"

namespace Platform {

// The state database's output of attribute changes: a socket whose send queue shows how far the
// reader lags behind.
class MRP_API AttrLogOutput : public Entity {
 public:
  // Descriptor of the socket, -1 when none is open.
  virtual int sockFd() const = 0;
  // SO_SNDBUF of a descriptor, in octets; none when it cannot be read.
  virtual std::optional<int> sendBufferSize(int fd) const = 0;
  // SIOCOUTQ of a descriptor: octets waiting in its send queue; none when it cannot be read.
  virtual std::optional<int> sendQueueOctets(int fd) const = 0;
  Signal<>& onSockFd() { return onSockFd_; }

 private:
  Signal<> onSockFd_;
};

// What the engine's process offers beside the state database.
class MRP_API PlatformServices : public PtrInterface {
 public:
  virtual Ptr<Clock> activityClock() = 0;
  virtual Trace& trace() = 0;
  virtual EventLog& eventLog() = 0;
  virtual PktManager& pktManager() = 0;
  virtual Ptr<IntfStatusManagerRoot> intfStatusManagerRoot(Ptr<IntfStatusDir> all,
                                                           Ptr<IntfStatusDir> local) = 0;
  virtual Ptr<EthDevPamManager> ethDevPamManager(Ptr<DesiredIntfDir> desired,
                                                 Ptr<PamCollection> pams,
                                                 Ptr<DeviceIntfStatusDir> devices) = 0;
};

// Paths of the directories of interface status: of all interfaces, and of the local ones.
inline constexpr const char* kAllIntfStatusPath = "interface/status/all";
inline constexpr const char* kLocalIntfStatusPath = "interface/status/local";

// Entities of the state database, by path or by name.
class MRP_API EntityManager : public PtrInterface {
 public:
  // Name under which the attribute-log facility knows this manager.
  virtual std::string name() const = 0;
  // The entity mounted at `path`; null when there is none.
  virtual Ptr<Entity> entity(const std::string& path) const = 0;
  // Mounts a shared-memory table of a type ("KernelNetInfo::Status") at a path and publishes it
  // under `name`; null when the platform has no such table.
  virtual Ptr<Entity> shmTableIs(const std::string& type, const std::string& path,
                                 const std::string& name) = 0;
  // Publishes an entity under a name, replacing an earlier one of that name.
  virtual void entityIs(const std::string& name, Ptr<Entity> entity) = 0;
  virtual void entityDel(const std::string& name) = 0;
  // The attribute-log output known under `name`; null when there is none.
  virtual Ptr<AttrLogOutput> attrLogOutput(const std::string& name) = 0;
  // Name of the default network namespace.
  virtual std::string defaultNamespace() const = 0;
  virtual PlatformServices& services() = 0;
};

}  // namespace Platform
