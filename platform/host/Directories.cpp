#include "platform/host/Directories.h"

namespace Platform::Host {

Directories::Directories()
    : bridgingConfig_(makePtr<BridgingConfig>()),
      topologyConfig_(makePtr<BridgingTopologyConfig>()),
      stpStatus_(makePtr<Stp::StpStatus>()),
      ethPhyIntfStatusDir_(makePtr<EthPhyIntfStatusDir>()),
      allIntfStatusDir_(makePtr<IntfStatusDir>()),
      allIntfStatusLocalDir_(makePtr<IntfStatusDir>()),
      deviceIntfStatusDir_(makePtr<DeviceIntfStatusDir>()) {}

IntfId Directories::portIs(std::string_view name, EthAddr mac, std::uint32_t mtu) {
  const IntfId intf(name);
  allIntfStatusDir_->intfStatusIs(intf, {mtu});
  allIntfStatusLocalDir_->intfStatusIs(intf, {mtu});
  ethPhyIntfStatusDir_->ethPhyIntfStatusIs(intf, {mac});
  deviceIntfStatusDir_->deviceIs(intf);  // last: the endpoint may open in here
  return intf;
}

void Directories::portDel(IntfId intf) {
  deviceIntfStatusDir_->deviceDel(intf);
  ethPhyIntfStatusDir_->ethPhyIntfStatusDel(intf);
  allIntfStatusLocalDir_->intfStatusDel(intf);
  allIntfStatusDir_->intfStatusDel(intf);
}

}  // namespace Platform::Host
