#pragma once

#include <cstdint>
#include <string_view>

#include "platform/bridging/BridgingConfig.h"
#include "platform/interface/IntfStatus.h"
#include "platform/stp/StpStatus.h"

namespace Platform::Host {

// What an engine is constructed from beside the state database: configuration of the bridge, its
// spanning tree and the status of its ports. Copies share the entities, so that several engines of
// one switch see the same ports.
class Directories {
 public:
  Directories();

  const Ptr<BridgingConfig>& bridgingConfig() const { return bridgingConfig_; }
  const Ptr<BridgingTopologyConfig>& bridgingTopologyConfig() const { return topologyConfig_; }
  const Ptr<Stp::StpStatus>& stpStatus() const { return stpStatus_; }
  const Ptr<EthPhyIntfStatusDir>& ethPhyIntfStatusDir() const { return ethPhyIntfStatusDir_; }
  const Ptr<IntfStatusDir>& allIntfStatusDir() const { return allIntfStatusDir_; }
  const Ptr<IntfStatusDir>& allIntfStatusLocalDir() const { return allIntfStatusLocalDir_; }
  const Ptr<DeviceIntfStatusDir>& deviceIntfStatusDir() const { return deviceIntfStatusDir_; }

  // Creates a port with its status, MAC address and device, or changes those of an existing one.
  // An endpoint that waits for the device opens in here.
  IntfId portIs(std::string_view name, EthAddr mac, std::uint32_t mtu = 1500);
  void portDel(IntfId intf);

 private:
  Ptr<BridgingConfig> bridgingConfig_;
  Ptr<BridgingTopologyConfig> topologyConfig_;
  Ptr<Stp::StpStatus> stpStatus_;
  Ptr<EthPhyIntfStatusDir> ethPhyIntfStatusDir_;
  Ptr<IntfStatusDir> allIntfStatusDir_;
  Ptr<IntfStatusDir> allIntfStatusLocalDir_;
  Ptr<DeviceIntfStatusDir> deviceIntfStatusDir_;
};

}  // namespace Platform::Host
