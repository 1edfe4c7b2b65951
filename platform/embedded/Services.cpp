#include "platform/embedded/Services.h"

#include "platform/embedded/EthDevPam.h"
#include "platform/host/PamManager.h"

namespace Platform::Embedded {

Services::Services(Ptr<Clock> clock)
    : Host::Services(clock), bus_(makePtr<EthDevBus>(std::move(clock))) {}

Services::~Services() = default;

Ptr<EthDevPamManager> Services::ethDevPamManager(Ptr<DesiredIntfDir> desired,
                                                 Ptr<PamCollection> pams,
                                                 Ptr<DeviceIntfStatusDir> devices) {
  const auto open = [bus = bus_](IntfId intf, const Host::PamConfig& config) {
    return Ptr<Host::DevPam>(makePtr<EthDevPam>(bus, intf, config));
  };
  return makePtr<Host::PamManager>(open, std::move(desired), std::move(pams), std::move(devices));
}

}  // namespace Platform::Embedded
