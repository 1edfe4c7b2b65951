#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bridging/BridgingConfig.h"
#include "platform/embedded/EthDevPam.h"
#include "platform/embedded/StateDatabase.h"
#include "platform/stp/StpStatus.h"

namespace Platform::Embedded {

// The whole platform of one switch, with everything that an engine is constructed from. Shares
// nothing with another switch but the clock. What an engine still refers to outlives the switch.
class Switch {
 public:
  struct Options {
    std::string name = "switch";  // of the state database and its attribute log
    std::string defaultNamespace = "default";
  };
  using TransmitHook = std::function<void(IntfId, const Pkt&)>;

  explicit Switch(Ptr<Clock> clock) : Switch(std::move(clock), Options()) {}
  Switch(Ptr<Clock> clock, const Options& options);
  ~Switch();
  Switch(const Switch&) = delete;
  Switch& operator=(const Switch&) = delete;

  const Ptr<Clock>& clock() const { return clock_; }
  const Ptr<BridgingConfig>& bridgingConfig() const { return bridgingConfig_; }
  const Ptr<BridgingTopologyConfig>& bridgingTopologyConfig() const { return topologyConfig_; }
  const Ptr<Stp::StpStatus>& stpStatus() const { return stpStatus_; }
  const Ptr<EthPhyIntfStatusDir>& ethPhyIntfStatusDir() const { return ethPhyIntfStatusDir_; }
  const Ptr<IntfStatusDir>& allIntfStatusDir() const { return allIntfStatusDir_; }
  const Ptr<IntfStatusDir>& allIntfStatusLocalDir() const { return allIntfStatusLocalDir_; }
  const Ptr<DeviceIntfStatusDir>& deviceIntfStatusDir() const { return deviceIntfStatusDir_; }
  const Ptr<StateDatabase>& stateDatabase() const { return stateDatabase_; }

  Trace& trace() const { return services_->trace(); }
  EventLogRecorder& eventLog() const { return services_->eventLog(); }
  AttrLogSocket& attrLog() const { return *stateDatabase_->attrLog(); }
  PktAllocator& pktAllocator() const { return services_->pktManager(); }
  const Ptr<EthDevBus>& bus() const { return bus_; }

  // Creates a port with its status, MAC address and device, or changes those of an existing one.
  IntfId portIs(std::string_view name, EthAddr mac, std::uint32_t mtu = 1500);
  void portDel(IntfId intf);

  // A frame from outside. False when the port has no open endpoint, or none that accepts it. It
  // waits `unread` on the socket before its reader is notified.
  bool receive(IntfId intf, std::span<const std::uint8_t> frame, Seconds unread = {});
  // Calls `hook` for each frame handed to an endpoint, from now on; hooks are called in the order
  // in which they were given.
  void onTransmit(TransmitHook hook);
  // The open endpoint of a port; null when there is none.
  EthDevPam* endpoint(IntfId intf) const { return bus_->endpoint(intf); }

 private:
  struct Hook;

  void mountEntities();

  Ptr<Clock> clock_;
  Ptr<BridgingConfig> bridgingConfig_;
  Ptr<BridgingTopologyConfig> topologyConfig_;
  Ptr<Stp::StpStatus> stpStatus_;
  Ptr<EthPhyIntfStatusDir> ethPhyIntfStatusDir_;
  Ptr<IntfStatusDir> allIntfStatusDir_;
  Ptr<IntfStatusDir> allIntfStatusLocalDir_;
  Ptr<DeviceIntfStatusDir> deviceIntfStatusDir_;
  Ptr<Services> services_;
  Ptr<StateDatabase> stateDatabase_;
  Ptr<EthDevBus> bus_;
  std::vector<std::unique_ptr<Hook>> hooks_;
};

}  // namespace Platform::Embedded
