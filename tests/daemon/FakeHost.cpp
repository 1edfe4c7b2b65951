#include "tests/daemon/FakeHost.h"

#include "agent/daemon/config/VlanRanges.h"

namespace DaemonTest {

struct FakeHost::Tap {
  Tap(FakeHost& of, const EngineTest::App& a, Platform::Embedded::EthDevBus& bus)
      : host(of), app(a) {
    reactor.watch<&Tap::handle>(bus.onTransmit(), this);
  }
  void handle(IntfId intf, const Platform::Pkt& pkt) {
    host.sent_[{app.application, intf.name()}].push_back(EngineTest::decoded(app, pkt.octets()));
  }
  FakeHost& host;
  const EngineTest::App app;
  Platform::Reactor<IntfId, const Platform::Pkt&> reactor;
};

FakeHost::FakeHost() = default;
FakeHost::~FakeHost() = default;

Ptr<Platform::PlatformServices> FakeHost::services(Mrp::MrpApplication application) {
  auto made = Platform::makePtr<Platform::Embedded::Services>(time);
  services_[application] = made;
  const auto& app =
      application == Mrp::MrpApplication::mvrp ? EngineTest::kMvrp : EngineTest::kMsrp;
  taps_.push_back(std::make_unique<Tap>(*this, app, made->bus()));
  return made;
}

std::optional<Host::Bridge> FakeHost::bridge(const std::string& name) const {
  if (!bridges.contains(name)) return std::nullopt;
  return Bridge{EthAddr::fromNumber(0x020000000000), filtering};
}

Host::VlanEntries FakeHost::vlanEntries(const std::string& link) const {
  const auto it = entries_.find(link);
  return it == entries_.end() ? VlanEntries() : it->second;
}

void FakeHost::vlanEntriesAre(const std::string& port, const Mrp::VlanSet& vlans, bool present) {
  ++kernelRequests;
  VlanEntries& e = entries_[port];
  e.all = present ? e.all | vlans : e.all - vlans;
  if (!present) e.flagged -= vlans;
}

bool FakeHost::relayBlockIs(const std::string&, const std::vector<std::string>&, bool mvrp,
                            bool msrp, std::string&) {
  relay = std::string(mvrp ? "mvrp" : "") + (msrp ? " msrp" : "");
  return true;
}

void FakeHost::linkIs(const std::string& name, bool up, const std::string& bridge,
                      PortState state) {
  const auto [it, isNew] = links_.try_emplace(name);
  Link& link = it->second;
  if (isNew) {
    link.ifindex = ++lastIndex_;
    link.mac = EthAddr::fromNumber(0x020000000000 + lastIndex_);
  }
  link.up = up;
  link.bridge = bridge;
  link.state = state;
  change();
}

void FakeHost::linkDel(const std::string& name) {
  links_.erase(name);
  entries_.erase(name);
  change();
}

void FakeHost::entryIs(const std::string& link, std::uint16_t vlan, bool flagged) {
  entries_[link].all.put(vlan, true);
  entries_[link].flagged.put(vlan, flagged);
  entries_[link].untagged.put(vlan, flagged);
  change();
}

void FakeHost::entryDel(const std::string& link, std::uint16_t vlan) {
  entries_[link].all.put(vlan, false);
  entries_[link].flagged.put(vlan, false);
  change();
}

std::string FakeHost::entries(const std::string& link) const {
  return rangesText(vlanEntries(link).all);
}

bool FakeHost::receive(const EngineTest::App& app, const std::string& port, const Octets& pdu) {
  const auto it = services_.find(app.application);
  return it != services_.end() &&
         it->second->bus().receive(IntfId(port), EngineTest::frame(app, pdu), {});
}

Texts FakeHost::sent(const EngineTest::App& app, const std::string& port) {
  return std::exchange(sent_[{app.application, port}], {});
}

}  // namespace DaemonTest
