#include "platform/host/StateDatabase.h"

namespace Platform::Host {

StateDatabase::StateDatabase(Ptr<PlatformServices> services, std::string name,
                             std::string defaultNamespace)
    : services_(std::move(services)),
      name_(std::move(name)),
      defaultNamespace_(std::move(defaultNamespace)) {}

StateDatabase::~StateDatabase() = default;

Ptr<Entity> StateDatabase::entity(const std::string& path) const {
  auto it = entities_.find(path);
  return it == entities_.end() ? nullptr : it->second;
}

Ptr<Entity> StateDatabase::shmTableIs(const std::string& type, const std::string& path,
                                      const std::string& name) {
  if (type != kDeviceTableType) return nullptr;
  Ptr<Entity> table = entity(path);
  if (dynamic_cast<DeviceIntfStatusDir*>(table.get()) == nullptr) return nullptr;
  entityIs(name, table);
  return table;
}

void StateDatabase::entityIs(const std::string& name, Ptr<Entity> entity) {
  entities_[name] = std::move(entity);
}

void StateDatabase::directoriesAre(const Directories& directories) {
  entityIs(kAllIntfStatusPath, directories.allIntfStatusDir());
  entityIs(kLocalIntfStatusPath, directories.allIntfStatusLocalDir());
  entityIs(deviceTablePath(defaultNamespace_), directories.deviceIntfStatusDir());
}

Ptr<AttrLogOutput> StateDatabase::attrLogOutput(const std::string& name) {
  return name == name_ ? attrLog_ : nullptr;
}

}  // namespace Platform::Host
