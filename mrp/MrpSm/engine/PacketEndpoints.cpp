// Set-up of the packet endpoints: interface status, socket filter, endpoint manager.

#include <optional>
#include <vector>

#include "mrp/MrpSm/engine/Endpoints.h"
#include "platform/packet/GroupFilter.h"

namespace Mrp {
namespace {

using FilterProgram = std::vector<Platform::FilterInstruction>;

constexpr std::size_t kMaxRxPktData = 10000;

// One table for the process: the first engine fills it, later ones use it as it is.
std::optional<FilterProgram>& processFilter() {
  static std::optional<FilterProgram> filter;
  return filter;
}

template <class T>
Ptr<T> entityAs(const Ptr<Platform::Entity>& entity) {
  return Ptr<T>(dynamic_cast<T*>(entity.get()));
}

}  // namespace

Publications::~Publications() {
  for (const auto& [name, entity] : published_) {
    if (manager_->entity(name) == entity) manager_->entityDel(name);
  }
}

void Publications::add(const std::string& name, Ptr<Platform::Entity> entity) {
  manager_->entityIs(name, entity);
  published_.emplace_back(name, std::move(entity));
}

Endpoints::Endpoints(const Environment& env, const Engine::Inputs& inputs,
                     Publications& publications)
    : env_(env) {
  MRP_TRACE(env_.trace, 8, "void Mrp::MrpSm::doInitializePamMan()");
  attach(*inputs.entityManager, publications);
  openManager(*inputs.mrpLib, inputs.entityManager->services());
}

Endpoints::~Endpoints() {
  deviceIntfStatusDir_ = nullptr;
  intfStatusManagerRoot_ = nullptr;
  desiredIntfDir_ = nullptr;
  pamCollection_ = nullptr;
  pamMan_ = nullptr;
}

void Endpoints::attach(Platform::EntityManager& manager, Publications& publications) {
  allIntfStatusDir_ =
      entityAs<Platform::IntfStatusDir>(manager.entity(Platform::kAllIntfStatusPath));
  allIntfStatusLocalDir_ =
      entityAs<Platform::IntfStatusDir>(manager.entity(Platform::kLocalIntfStatusPath));
  const std::string ns = manager.defaultNamespace();
  deviceIntfStatusDir_ = entityAs<Platform::DeviceIntfStatusDir>(manager.shmTableIs(
      "KernelNetInfo::Status", "kni/ns/" + ns + "/status", "deviceIntfStatusDirMsrp"));
  intfStatusManagerRoot_ =
      manager.services().intfStatusManagerRoot(allIntfStatusDir_, allIntfStatusLocalDir_);
  intfStatusManagerRoot_->intfStatusManagerIs(ns);
  desiredIntfDir_ = Platform::makePtr<Platform::DesiredIntfDir>();
  publications.add("desiredIntfDirMsrp", desiredIntfDir_);
  pamCollection_ = Platform::makePtr<Platform::PamCollection>();
  publications.add("pamCollectionMsrp", pamCollection_);
}

void Endpoints::openManager(const MrpLib& lib, Platform::PlatformServices& services) {
  const std::uint64_t dmac = lib.applicationMacAddr().number();
  const auto dmacUpper = static_cast<std::uint16_t>(dmac >> 32);
  const auto dmacLower = static_cast<std::uint32_t>(dmac);
  const std::uint16_t ethType = lib.applicationEtype();
  MRP_TRACE(env_.trace, 8,
            "MrpSm::PamManEnable dmacUpper " << std::hex << dmacUpper << " dmacLower " << dmacLower
                                             << " ethType " << ethType);
  auto& filter = processFilter();
  if (!filter) filter = Platform::groupFilter(lib.applicationMacAddr(), ethType);

  pamMan_ = services.ethDevPamManager(desiredIntfDir_, pamCollection_, deviceIntfStatusDir_);
  pamMan_->ethProtocolIs(Platform::EthDevPamManager::kAllProtocols);
  pamMan_->listenAddrIs(lib.applicationMacAddr());
  pamMan_->socketFilterIs(*filter);
  pamMan_->maxRxPktDataIs(kMaxRxPktData);
  pamMan_->socketPerIntfIs(true);
  pamMan_->enabledIs(true);
}

void Endpoints::hasNotificationActiveIs(bool active) {
  intfStatusManagerRoot_->hasNotificationActiveIs(active);
  pamMan_->hasNotificationActiveIs(active);
}

}  // namespace Mrp
