#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/embedded/AttrLogSocket.h"
#include "platform/embedded/EthDevPam.h"
#include "platform/embedded/Services.h"
#include "platform/host/StateDatabase.h"

namespace Platform::Embedded {

// The whole platform of one switch, with everything that an engine is constructed from. Shares
// nothing with another switch but the clock. What an engine still refers to outlives the switch.
class Switch : public Host::Directories {
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
  const Ptr<Host::StateDatabase>& stateDatabase() const { return stateDatabase_; }

  Trace& trace() const { return services_->trace(); }
  Host::EventLogRecorder& eventLog() const { return services_->eventLog(); }
  AttrLogSocket& attrLog() const { return *attrLog_; }
  Host::PktAllocator& pktAllocator() const { return services_->pktManager(); }
  const Ptr<EthDevBus>& bus() const { return bus_; }

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

  Ptr<Clock> clock_;
  Ptr<Services> services_;
  Ptr<AttrLogSocket> attrLog_;
  Ptr<Host::StateDatabase> stateDatabase_;
  Ptr<EthDevBus> bus_;
  std::vector<std::unique_ptr<Hook>> hooks_;
};

}  // namespace Platform::Embedded
