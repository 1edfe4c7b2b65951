#pragma once

#include <map>
#include <string>

#include "platform/host/Directories.h"
#include "platform/state/EntityManager.h"

namespace Platform::Host {

// The state database of one switch, in memory: one table of entities by path or name.
class StateDatabase final : public EntityManager {
 public:
  // The type of the shared-memory tables that list a namespace's network devices.
  static constexpr const char* kDeviceTableType = "KernelNetInfo::Status";
  static std::string deviceTablePath(const std::string& ns) { return "kni/ns/" + ns + "/status"; }

  StateDatabase(Ptr<PlatformServices> services, std::string name, std::string defaultNamespace);
  ~StateDatabase() override;

  std::string name() const override { return name_; }
  Ptr<Entity> entity(const std::string& path) const override;
  Ptr<Entity> shmTableIs(const std::string& type, const std::string& path,
                         const std::string& name) override;
  void entityIs(const std::string& name, Ptr<Entity> entity) override;
  void entityDel(const std::string& name) override { entities_.erase(name); }
  Ptr<AttrLogOutput> attrLogOutput(const std::string& name) override;
  std::string defaultNamespace() const override { return defaultNamespace_; }
  PlatformServices& services() override { return *services_; }

  // Mounts what an engine looks up by path.
  void directoriesAre(const Directories& directories);
  // The one output of this database, known under its name; null while it has none.
  void attrLogIs(Ptr<AttrLogOutput> attrLog) { attrLog_ = std::move(attrLog); }
  const std::map<std::string, Ptr<Entity>>& entities() const { return entities_; }

 private:
  Ptr<PlatformServices> services_;
  std::string name_;
  std::string defaultNamespace_;
  std::map<std::string, Ptr<Entity>> entities_;
  Ptr<AttrLogOutput> attrLog_;
};

}  // namespace Platform::Host
