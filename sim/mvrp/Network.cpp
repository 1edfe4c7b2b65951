#include "sim/mvrp/Network.h"

#include <sstream>

#include "agent/mvrp/MvrpBridge.h"
#include "mrp/types/MrpStatus.h"
#include "sim/network/Participant.h"

namespace Sim {
namespace {

using Platform::makePtr;

class Mvrp : public Participant {
 public:
  Vlans registered(IntfId intf) const {
    Vlans vlans;
    engine().walkRecords(intf, 1, [&](const Mrp::MrpAttrDatabase& r) {
      if (r.registrarState() == Mrp::MrpRegistrarState::mt) return;
      vlans.insert(static_cast<std::uint16_t>(r.attributeKey()));
    });
    return vlans;
  }
};

class Bridge final : public Mvrp {
 public:
  explicit Bridge(Switch& sw) : bridge_(makePtr<Mrp::MvrpBridge>()) {
    startEngine(bridge_, sw);
    bridge_->start();
  }
  void portUp(IntfId intf) override { bridge_->portIs(intf); }
  void portDown(IntfId intf, Down how) override {
    if (how == Down::disabled) bridge_->portDel(intf);
  }
  void blink(Platform::VlanId vlan) {
    bridge_->declarationIs(vlan, true);
    bridge_->declarationIs(vlan, false);
  }
  // What the bridge believes to be registered.
  Vlans believed(IntfId intf) const {
    Vlans vlans;
    bridge_->registered(intf).walk([&](std::uint16_t v) { vlans.insert(v); });
    return vlans;
  }

 private:
  Ptr<Mrp::MvrpBridge> bridge_;
};

// One whose port is down has nobody to tell; it declares when the port is back.
class Station final : public Mvrp {
 public:
  Station(Switch& sw, const Vlans& declared) : declared_(declared) {
    startEngine(stationLib(Mrp::MrpApplication::mvrp), sw);
  }
  void portUp(IntfId intf) override {
    up_ = true;
    lib().mrpInterfaceEnable(intf);
    for (const std::uint16_t vlan : declared_) request(vlan, Mrp::MrpThreePackedEvent::joinIn);
  }
  void portDown(IntfId intf, Down) override {
    up_ = false;
    lib().mrpInterfaceDisable(intf);
  }
  void request(std::uint16_t vlan, Mrp::MrpThreePackedEvent event) {
    if (!up_) return;
    const IntfId intf = portId(1);
    // What is withdrawn may still be declared in the second packet, which leaves after the first.
    if (event == Mrp::MrpThreePackedEvent::lv) lib().mrpTransmitTxAttributes(intf);
    lib().mvrpVlanVectorTx().vlanId = vlan;
    lib().mrpOutIntfQueueEnq(intf);
    lib().mrpSendAttribute({.intfId = intf,
                            .attributeType = static_cast<std::uint8_t>(Mrp::MvrpAttrType::vlan),
                            .attributeEvent = static_cast<std::uint8_t>(event)});
  }

 private:
  const Vlans& declared_;
  bool up_ = false;
};

}  // namespace

Network::Network(Topology& topology, const WireOptions& fate, std::uint64_t seed)
    : Fabric(topology, fate, seed), declared_(static_cast<std::size_t>(topology.stations)) {
  start([this](int node, Switch& sw) { return make(node, sw); });
}

std::unique_ptr<Application> Network::make(int node, Switch& sw) const {
  if (topology().isBridge(node)) return std::make_unique<Bridge>(sw);
  const int station = node - topology().bridges;
  return std::make_unique<Station>(sw, declared_[static_cast<std::size_t>(station)]);
}

void Network::declare(int station, std::uint16_t vlan, bool asNew) {
  using enum Mrp::MrpThreePackedEvent;
  declared_[static_cast<std::size_t>(station)].insert(vlan);
  request(station, vlan, asNew ? newEvent : joinIn);
}

void Network::withdraw(int station, std::uint16_t vlan) {
  declared_[static_cast<std::size_t>(station)].erase(vlan);
  request(station, vlan, Mrp::MrpThreePackedEvent::lv);
}

void Network::blink(int node, std::uint16_t vlan) {
  if (topology().isBridge(node)) {
    static_cast<Bridge*>(application(node))->blink(Platform::VlanId(vlan));
  } else {
    const int station = node - topology().bridges;
    if (declared_[static_cast<std::size_t>(station)].contains(vlan)) return;
    declare(station, vlan, false);
    withdraw(station, vlan);
  }
}

void Network::request(int station, std::uint16_t vlan, Mrp::MrpThreePackedEvent event) {
  static_cast<Station*>(application(topology().bridges + station))->request(vlan, event);
}

std::vector<Topology::Ends> Network::registered() const {
  std::vector<Topology::Ends> all(topology().links.size());
  for (std::size_t l = 0; l < all.size(); ++l) {
    const Link& of = topology().links[l];
    for (int end : {0, 1}) {
      const auto* mvrp = static_cast<const Mvrp*>(application(of.node[end]));
      if (mvrp) all[l].end[end] = mvrp->registered(portId(of.port[end]));
    }
  }
  return all;
}

// A bridge's own view is that of its engine, and no switch met an MRPDU that it could not read.
std::string Network::inconsistency() const {
  std::ostringstream text;
  for (const Link& l : topology().links) {
    for (int end : {0, 1}) {
      const Application* there = application(l.node[end]);
      if (!there || !topology().isBridge(l.node[end]) || !forwarding(l.role[end])) continue;
      const auto* bridge = static_cast<const Bridge*>(there);
      const IntfId intf = portId(l.port[end]);
      if (bridge->believed(intf) == bridge->registered(intf)) continue;
      text << "bridge " << l.node[end] << " " << intf
           << ": the application's registrations are not the engine's; ";
    }
  }
  for (int n = 0; n < topology().nodes(); ++n) {
    const auto* mvrp = static_cast<const Mvrp*>(application(n));
    if (mvrp && mvrp->malformed()) text << "node " << n << ": malformed MRPDU; ";
  }
  return std::move(text).str();
}

}  // namespace Sim
