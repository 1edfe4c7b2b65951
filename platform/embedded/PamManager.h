#pragma once

#include "platform/embedded/EthDevPam.h"
#include "platform/interface/IntfStatus.h"
#include "platform/packet/PamDirs.h"

namespace Platform::Embedded {

// Opens and closes the endpoints of one engine. Endpoints open in the order of their ports when the
// manager is enabled, later in the order in which ports become desired. When the manager goes away
// its endpoints are closed but stay in the collection, for nobody is to be notified by then.
class PamManager final : public EthDevPamManager {
 public:
  PamManager(Ptr<EthDevBus> bus, Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
             Ptr<DeviceIntfStatusDir> devices);
  ~PamManager() override;

  void ethProtocolIs(std::uint16_t protocol) override { config_.protocol = protocol; }
  void listenAddrIs(EthAddr address) override { config_.listenAddr = address; }
  void socketFilterIs(std::vector<FilterInstruction> program) override;
  void maxRxPktDataIs(std::size_t octets) override { config_.maxRxPktData = octets; }
  void socketPerIntfIs(bool perIntf) override { socketPerIntf_ = perIntf; }
  void enabledIs(bool enabled) override;

  bool enabled() const { return enabled_; }
  bool socketPerIntf() const { return socketPerIntf_; }
  const EthDevPamConfig& config() const { return config_; }

 private:
  // Opens or closes the endpoint of `intf` as its state asks for.
  void review(IntfId intf);
  void open(IntfId intf);
  void close(IntfId intf);

  Ptr<EthDevBus> bus_;
  Ptr<DesiredIntfDir> desired_;
  Ptr<PamCollection> pams_;
  Ptr<DeviceIntfStatusDir> devices_;
  EthDevPamConfig config_;
  bool socketPerIntf_ = false;
  bool enabled_ = false;
  IntfMap<Ptr<EthDevPam>> open_;
  Reactor<IntfId> desiredReactor_;
  Reactor<IntfId> deviceReactor_;
};

}  // namespace Platform::Embedded
