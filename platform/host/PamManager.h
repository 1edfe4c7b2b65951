#pragma once

#include <functional>

#include "platform/host/DevPam.h"
#include "platform/interface/IntfStatus.h"
#include "platform/packet/PamDirs.h"

namespace Platform::Host {

// Opens and closes the endpoints of one engine. Endpoints open in the order of their ports when the
// manager is enabled, later in the order in which ports become desired. When the manager goes away
// its endpoints are closed but stay in the collection, for nobody is to be notified by then.
class PamManager final : public EthDevPamManager {
 public:
  // How the platform opens an endpoint. Null when it cannot be had: it is asked for again at the
  // next change of the port's wish or device.
  using Open = std::function<Ptr<DevPam>(IntfId, const PamConfig&)>;

  PamManager(Open open, Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
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
  const PamConfig& config() const { return config_; }

 private:
  // Opens or closes the endpoint of `intf` as its state asks for.
  void review(IntfId intf);
  void open(IntfId intf);
  void close(IntfId intf);

  Open opener_;
  Ptr<DesiredIntfDir> desired_;
  Ptr<PamCollection> pams_;
  Ptr<DeviceIntfStatusDir> devices_;
  PamConfig config_;
  bool socketPerIntf_ = false;
  bool enabled_ = false;
  IntfMap<Ptr<DevPam>> open_;
  Reactor<IntfId> desiredReactor_;
  Reactor<IntfId> deviceReactor_;
};

}  // namespace Platform::Host
