#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/bridge/VlanSet.h"
#include "agent/daemon/streams/StreamHost.h"
#include "mrp/types/MrpEnums.h"
#include "platform/packet/EthAddr.h"
#include "platform/state/EntityManager.h"

namespace Daemon {

using Platform::EthAddr;
using Platform::IntfId;
using Platform::Ptr;
using Platform::Seconds;

// The host that the agent runs on: its network interfaces, its bridge, and what an engine's
// platform offers there.
class Host {
 public:
  // State of a bridge port (IEEE 802.1D), numbered as the kernel does.
  enum class PortState : std::uint8_t { disabled, listening, learning, forwarding, blocking };

  struct Link {
    std::uint32_t ifindex = 0;
    EthAddr mac;
    std::uint32_t mtu = 1500;
    bool up = false;     // switched on, and with carrier
    std::string bridge;  // of which it is a port; empty: none
    PortState state = PortState::forwarding;
    bool rootPort = false;
    friend bool operator==(const Link&, const Link&) = default;
  };
  struct Bridge {
    EthAddr mac;
    bool vlanFiltering = false;
  };
  // VLANs that a port, or the bridge itself, is a member of; `flagged`: those that are its PVID or
  // leave untagged; `untagged`: those that do.
  struct VlanEntries {
    Mrp::VlanSet all;
    Mrp::VlanSet flagged;
    Mrp::VlanSet untagged;
    friend bool operator==(const VlanEntries&, const VlanEntries&) = default;
  };
  struct FrameCounters {
    std::uint64_t dropped = 0;  // by the host, before they were read
    std::uint64_t sendErrors = 0;
  };

  virtual ~Host() = default;

  virtual Ptr<Platform::Clock> clock() = 0;
  // What the engine of an application stands on: new at each call.
  virtual Ptr<Platform::PlatformServices> services(Mrp::MrpApplication application) = 0;
  virtual FrameCounters frameCounters(Mrp::MrpApplication application, IntfId intf) const = 0;

  virtual const std::map<std::string, Link>& links() const = 0;
  // None when there is no bridge of this name.
  virtual std::optional<Bridge> bridge(const std::string& name) const = 0;
  virtual VlanEntries vlanEntries(const std::string& link) const = 0;
  // Something of the above has changed.
  Platform::Signal<>& onChange() { return onChange_; }

  // Makes plain tagged entries of a port, or removes them. What fails is told by onRefused.
  virtual void vlanEntriesAre(const std::string& port, const Mrp::VlanSet& vlans, bool present) = 0;
  // Keeps frames of these applications that come in on one of `ports` from being relayed by the
  // bridge; none of them: takes away what keeps them. False when the host cannot, and `why` says
  // so.
  virtual bool relayBlockIs(const std::string& bridge, const std::vector<std::string>& ports,
                            bool mvrp, bool msrp, std::string& why) = 0;

  // What it can do for streams; null: nothing.
  virtual StreamHost* streams() { return nullptr; }

  // Another boot gives another text.
  virtual std::string bootId() const = 0;

 private:
  Platform::Signal<> onChange_;
};

}  // namespace Daemon
