#pragma once

#include <functional>

#include "agent/daemon/Host.h"
#include "agent/daemon/Log.h"
#include "agent/daemon/linux/LinuxStreams.h"
#include "platform/linux/BridgeVlans.h"
#include "platform/linux/Links.h"
#include "platform/linux/Loop.h"
#include "platform/linux/Services.h"

namespace Daemon {

// The Linux host of this process's network namespace.
class LinuxHost final : public Host {
 public:
  // The kernel did not make these entries of a port.
  using Refused = std::function<void(const std::string& port, const Mrp::VlanSet& vlans)>;

  // Throws std::system_error when the kernel cannot be asked.
  LinuxHost(Ptr<Platform::Linux::Loop> loop, const Log& log);
  ~LinuxHost() override;

  Ptr<Platform::Clock> clock() override { return loop_->clock(); }
  Ptr<Platform::PlatformServices> services(Mrp::MrpApplication application) override;
  FrameCounters frameCounters(Mrp::MrpApplication application, IntfId intf) const override;

  const std::map<std::string, Link>& links() const override { return links_; }
  std::optional<Bridge> bridge(const std::string& name) const override;
  VlanEntries vlanEntries(const std::string& link) const override;
  void vlanEntriesAre(const std::string& port, const Mrp::VlanSet& vlans, bool present) override;
  bool relayBlockIs(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                    bool msrp, std::string& why) override;
  StreamHost* streams() override { return &streams_; }
  std::string bootId() const override;

  void refusedIs(Refused refused) { refused_ = std::move(refused); }
  // Hands the kernel what it has been asked for in this turn.
  void flush() { vlans_.flush(); }

 private:
  void handleLink(const Platform::Linux::Link& link);
  void handleLinkGone(const Platform::Linux::Link& link);
  void handleLost();
  void handleEntries(int index);
  void handleRefusal(const Platform::Linux::BridgeVlans::Refusal& refusal);
  void linkIs(const Platform::Linux::Link& link);
  int indexOf(const std::string& name) const;

  Ptr<Platform::Linux::Loop> loop_;
  const Log& log_;
  Platform::Linux::Links kernelLinks_;
  Platform::Linux::BridgeVlans vlans_;
  LinuxStreams streams_;
  std::map<std::string, Link> links_;
  std::map<Mrp::MrpApplication, Ptr<Platform::Linux::Services>> services_;
  Refused refused_;
  Platform::Reactor<const Platform::Linux::Link&> linkReactor_;
  Platform::Reactor<const Platform::Linux::Link&> goneReactor_;
  Platform::Reactor<> lostReactor_;
  Platform::Reactor<int> entriesReactor_;
  Platform::Reactor<const Platform::Linux::BridgeVlans::Refusal&> refusalReactor_;
};

}  // namespace Daemon
