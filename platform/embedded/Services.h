#pragma once

#include "platform/embedded/EthDevBus.h"
#include "platform/host/Services.h"

namespace Platform::Embedded {

// What one switch offers the engines that run on it.
class Services final : public Host::Services {
 public:
  explicit Services(Ptr<Clock> clock);
  ~Services() override;

  EthDevBus& bus() { return *bus_; }
  Ptr<EthDevPamManager> ethDevPamManager(Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
                                         Ptr<DeviceIntfStatusDir> devices) override;

 private:
  Ptr<EthDevBus> bus_;
};

}  // namespace Platform::Embedded
