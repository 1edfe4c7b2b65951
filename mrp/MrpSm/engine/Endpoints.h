#pragma once

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/env/Environment.h"
#include "platform/interface/IntfStatus.h"
#include "platform/packet/EthDevPamManager.h"
#include "platform/packet/PamDirs.h"
#include "platform/state/EntityManager.h"

namespace Mrp {

// Names under which an engine publishes entities. Taken back at its end where they still stand for
// its own: another engine may have published under the same name since. The table of devices is the
// platform's and stays mounted, for every engine that uses it.
class Publications {
 public:
  explicit Publications(Ptr<Platform::EntityManager> manager) : manager_(std::move(manager)) {}
  ~Publications();
  Publications(const Publications&) = delete;
  Publications& operator=(const Publications&) = delete;

  void add(const std::string& name, Ptr<Platform::Entity> entity);

 private:
  Ptr<Platform::EntityManager> manager_;
  std::vector<std::pair<std::string, Ptr<Platform::Entity>>> published_;
};

// The interface status and the packet endpoints that an engine is attached to.
class Endpoints {
 public:
  Endpoints(const Environment& env, const Engine::Inputs& inputs, Publications& publications);
  // In an order: the packet side's sources first.
  ~Endpoints();
  Endpoints(const Endpoints&) = delete;
  Endpoints& operator=(const Endpoints&) = delete;

  const Ptr<Platform::IntfStatusDir>& allIntfStatus() const { return allIntfStatusDir_; }
  const Ptr<Platform::IntfStatusDir>& allIntfStatusLocal() const { return allIntfStatusLocalDir_; }
  const Ptr<Platform::DeviceIntfStatusDir>& devices() const { return deviceIntfStatusDir_; }
  const Ptr<Platform::IntfStatusManagerRoot>& statusRoot() const { return intfStatusManagerRoot_; }
  const Ptr<Platform::EthDevPamManager>& pamManager() const { return pamMan_; }
  const Ptr<Platform::DesiredIntfDir>& desired() const { return desiredIntfDir_; }
  const Ptr<Platform::PamCollection>& pams() const { return pamCollection_; }
  void hasNotificationActiveIs(bool active);

 private:
  void attach(Platform::EntityManager& manager, Publications& publications);
  void openManager(const MrpLib& lib, Platform::PlatformServices& services);

  const Environment& env_;
  Ptr<Platform::IntfStatusDir> allIntfStatusDir_;
  Ptr<Platform::IntfStatusDir> allIntfStatusLocalDir_;
  Ptr<Platform::DeviceIntfStatusDir> deviceIntfStatusDir_;
  Ptr<Platform::IntfStatusManagerRoot> intfStatusManagerRoot_;
  Ptr<Platform::DesiredIntfDir> desiredIntfDir_;
  Ptr<Platform::PamCollection> pamCollection_;
  Ptr<Platform::EthDevPamManager> pamMan_;
};

}  // namespace Mrp
