#pragma once

#include <set>

#include "agent/daemon/Host.h"
#include "platform/embedded/Services.h"
#include "platform/embedded/VirtualClock.h"
#include "tests/daemon/FakeStreams.h"
#include "tests/engine/Support.h"

namespace DaemonTest {

using namespace Daemon;
using EngineTest::Octets;
using EngineTest::Texts;

// A host in memory, on virtual time: links, a bridge with its VLAN entries, and frames.
class FakeHost final : public Host {
 public:
  FakeHost();
  ~FakeHost() override;

  Ptr<Platform::Clock> clock() override { return time; }
  Ptr<Platform::PlatformServices> services(Mrp::MrpApplication application) override;
  FrameCounters frameCounters(Mrp::MrpApplication, IntfId) const override { return {3, 4}; }
  const std::map<std::string, Link>& links() const override { return links_; }
  std::optional<Bridge> bridge(const std::string& name) const override;
  VlanEntries vlanEntries(const std::string& link) const override;
  void vlanEntriesAre(const std::string& port, const Mrp::VlanSet& vlans, bool present) override;
  bool relayBlockIs(const std::string&, const std::vector<std::string>& ports, bool mvrp, bool msrp,
                    std::string& why) override;
  StreamHost* streams() override { return &kernelStreams; }
  std::string bootId() const override { return "boot"; }

  // A link, or changes of one; every new one has an index of its own.
  void linkIs(const std::string& name, bool up = true, const std::string& bridge = "br0",
              PortState state = PortState::forwarding);
  void linkDel(const std::string& name);
  // Somebody else's entry of a port or of the bridge.
  void entryIs(const std::string& link, std::uint16_t vlan, bool flagged = false);
  void entryDel(const std::string& link, std::uint16_t vlan);
  // "10-12" for what a port is a member of.
  std::string entries(const std::string& link) const;

  void run(double seconds) { time->run(seconds); }
  bool receive(const EngineTest::App& app, const std::string& port, const Octets& pdu);
  // Frames sent on a port since the last call, decoded.
  Texts sent(const EngineTest::App& app, const std::string& port);

  Ptr<Platform::Embedded::VirtualClock> time =
      Platform::makePtr<Platform::Embedded::VirtualClock>();
  std::set<std::string> bridges{"br0"};
  bool filtering = true;
  std::string relay;  // "mvrp msrp": what is blocked
  int kernelRequests = 0;
  FakeStreams kernelStreams;

 private:
  struct Tap;
  void change() { onChange().notify(); }

  std::map<std::string, Link> links_;
  std::uint32_t lastIndex_ = 0;
  std::map<std::string, VlanEntries> entries_;
  std::map<Mrp::MrpApplication, Ptr<Platform::Embedded::Services>> services_;
  std::vector<std::unique_ptr<Tap>> taps_;
  std::map<std::pair<Mrp::MrpApplication, std::string>, Texts> sent_;
};

}  // namespace DaemonTest
