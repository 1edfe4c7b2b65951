#include "tests/sim/Network.h"

#include <cstdlib>
#include <sstream>

namespace Sim {
namespace {

using Platform::EthAddr;
using Platform::makePtr;

IntfId portId(int port) { return IntfId("port" + std::to_string(port)); }

bool forwarding(Role role) { return role == Role::root || role == Role::designated; }

void add(Wire::Counters& sum, const Wire::Counters& more) {
  sum.sent += more.sent;
  sum.lost += more.lost;
}

}  // namespace

struct Network::Node {
  ~Node() { engine = nullptr; }  // before what it works on

  void start() {
    engine = nullptr;
    if (bridging) {
      bridge = makePtr<Mrp::MvrpBridge>();
      lib = bridge;
    } else {
      lib = Mrp::mrpLibFactory();
      lib->applicationIs(Mrp::MrpApplication::mvrp);
      lib->applicationMacAddrIs(EthAddr::fromNumber(0x0180C2000021));
      lib->applicationEtypeIs(0x88F5);
    }
    engine =
        Mrp::mrpSmFactory(sw.bridgingConfig(), lib.get(), makePtr<Mrp::MrpConfig>(),
                          makePtr<Mrp::MrpStatus>(), sw.stpStatus(), sw.bridgingTopologyConfig(),
                          sw.ethPhyIntfStatusDir(), sw.stateDatabase(), /*standbyMode=*/false);
    if (bridging) bridge->start();
  }

  Switch sw;
  bool bridging = false;
  Ptr<Mrp::MvrpBridge> bridge;
  Ptr<Mrp::MrpLib> lib;
  Ptr<Mrp::MrpSm> engine;

  explicit Node(Ptr<Platform::Clock> clock) : sw(std::move(clock)) {}
};

// The periods of LeaveAll come from the process's generator: seeded, every run is repeatable.
Network::Network(Topology& topology, const WireOptions& fate, std::uint64_t seed)
    : topology_(topology),
      fate_(fate),
      seed_(seed * 1000003),
      clock_(makePtr<VirtualClock>()),
      declared_(static_cast<std::size_t>(topology.stations)),
      wires_(topology.links.size()) {
  ::unsetenv("DISABLE_LEAVE_ALL_RANDOMIZATION");
  std::srand(static_cast<unsigned>(seed));
  for (int n = 0; n < topology.nodes(); ++n) nodes_.push_back(makeNode(n));
  for (std::size_t l = 0; l < topology.links.size(); ++l) {
    topology_.links[l].up = false;
    wire(static_cast<int>(l));
    linkUp(static_cast<int>(l));
  }
}

Network::~Network() { wires_.clear(); }

std::unique_ptr<Network::Node> Network::makeNode(int n) const {
  auto node = std::make_unique<Node>(clock_);
  node->bridging = topology_.isBridge(n);
  node->sw.eventLog().onIs(false);
  node->start();
  return node;
}

void Network::wire(int l) {
  const Link& of = link(l);
  WireOptions fate = fate_;
  fate.seed = ++seed_;
  wires_[static_cast<std::size_t>(l)] = std::make_unique<Wire>(
      at(of.node[0]).sw, portId(of.port[0]), at(of.node[1]).sw, portId(of.port[1]), fate);
}

// --- Links ---------------------------------------------------------------------------------------

void Network::applyRoles() {
  for (const bool forward : {false, true}) {
    for (const Link& l : topology_.links) {
      for (int end : {0, 1}) {
        if (forwarding(l.role[end]) == forward) roleIs(l.node[end], l.port[end], l.role[end]);
      }
    }
  }
}

void Network::roleIs(int node, int port, Role role) {
  if (!topology_.isBridge(node) || !nodes_[static_cast<std::size_t>(node)]) return;
  auto& ports = at(node).sw.stpStatus()->childIs("stp").childIs(Stp::kCist);
  ports.childIs(portId(port).name()).roleIs(role);
}

void Network::linkDown(int l, Down how) {
  Link& of = link(l);
  of.up = false;
  wires_[static_cast<std::size_t>(l)]->up(false);
  for (int end : {0, 1}) {
    portDown(of.node[end], of.port[end], how);
    of.role[end] = Role::none;
    roleIs(of.node[end], of.port[end], Role::none);
  }
}

void Network::linkUp(int l) {
  Link& of = link(l);
  of.up = true;
  wires_[static_cast<std::size_t>(l)]->up(true);
  for (int end : {0, 1}) portUp(of.node[end], of.port[end]);
}

void Network::portUp(int n, int port) {
  Node& node = at(n);
  const auto address =
      0x020000000000u + static_cast<unsigned>(n) * 256u + static_cast<unsigned>(port);
  const IntfId intf = node.sw.portIs(portId(port).name(), EthAddr::fromNumber(address));
  if (node.bridging) return node.bridge->portIs(intf);
  node.lib->mrpInterfaceEnable(intf);
  const int station = n - topology_.bridges;
  for (const std::uint16_t vlan : declared_[static_cast<std::size_t>(station)]) {
    request(station, vlan, Mrp::MrpThreePackedEvent::joinIn);
  }
}

void Network::portDown(int n, int port, Down how) {
  Node& node = at(n);
  const IntfId intf = portId(port);
  if (how == Down::vanished) node.sw.portDel(intf);
  if (!node.bridging) return node.lib->mrpInterfaceDisable(intf);
  if (how == Down::disabled) node.bridge->portDel(intf);
}

// --- Switches ------------------------------------------------------------------------------------

void Network::restartAgent(int n) {
  at(n).start();
  for (const int l : topology_.linksOf[static_cast<std::size_t>(n)]) {
    const Link& of = link(l);
    if (of.up) portUp(n, of.port[of.node[0] == n ? 0 : 1]);
  }
}

void Network::switchOff(int n) {
  for (const int l : topology_.linksOf[static_cast<std::size_t>(n)]) {
    std::unique_ptr<Wire>& wire = wires_[static_cast<std::size_t>(l)];
    if (!wire) continue;  // the switch at its other end is off, too
    add(gone_, wire->fromA());
    add(gone_, wire->fromB());
    wire = nullptr;
  }
  nodes_[static_cast<std::size_t>(n)] = nullptr;
}

void Network::switchOn(int n) {
  nodes_[static_cast<std::size_t>(n)] = makeNode(n);
  for (const int l : topology_.linksOf[static_cast<std::size_t>(n)]) {
    if (!nodes_[static_cast<std::size_t>(link(l).node[0])] ||
        !nodes_[static_cast<std::size_t>(link(l).node[1])]) {
      continue;
    }
    wire(l);
    wires_[static_cast<std::size_t>(l)]->up(false);
  }
}

// --- Stations ------------------------------------------------------------------------------------

void Network::declare(int station, std::uint16_t vlan, bool asNew) {
  using enum Mrp::MrpThreePackedEvent;
  declared_[static_cast<std::size_t>(station)].insert(vlan);
  request(station, vlan, asNew ? newEvent : joinIn);
}

void Network::withdraw(int station, std::uint16_t vlan) {
  declared_[static_cast<std::size_t>(station)].erase(vlan);
  request(station, vlan, Mrp::MrpThreePackedEvent::lv);
}

// A station whose port is down has nobody to tell; it declares when the port is back.
void Network::request(int station, std::uint16_t vlan, Mrp::MrpThreePackedEvent event) {
  const int n = topology_.bridges + station;
  if (!link(topology_.linksOf[static_cast<std::size_t>(n)].front()).up) return;
  Mrp::MrpLib& lib = *at(n).lib;
  const IntfId intf = portId(1);
  lib.mvrpVlanVectorTx().vlanId = vlan;
  lib.mrpOutIntfQueueEnq(intf);
  lib.mrpSendAttribute({.intfId = intf,
                        .attributeType = static_cast<std::uint8_t>(Mrp::MvrpAttrType::vlan),
                        .attributeEvent = static_cast<std::uint8_t>(event)});
}

// --- Looking on ----------------------------------------------------------------------------------

void Network::fateIs(const WireOptions& fate) {
  fate_ = fate;
  for (const auto& wire : wires_) {
    wire->lossIs(fate.loss);
    wire->duplicationIs(fate.duplication);
    wire->reorderingIs(fate.reordering);
  }
}

std::vector<Topology::Ends> Network::registered() const {
  std::vector<Topology::Ends> all(topology_.links.size());
  for (std::size_t l = 0; l < all.size(); ++l) {
    const Link& of = topology_.links[l];
    for (int end : {0, 1}) {
      const auto& node = nodes_[static_cast<std::size_t>(of.node[end])];
      if (!node) continue;
      node->engine->walkAttributes(portId(of.port[end]), 1, [&](const Mrp::MrpAttrDatabase& r) {
        if (r.registrarState() == Mrp::MrpRegistrarState::mt) return;
        all[l].end[end].insert(static_cast<std::uint16_t>(r.attributeKey()));
      });
    }
  }
  return all;
}

// A bridge's own view is that of its engine, and no switch met an MRPDU that it could not read.
std::string Network::inconsistency() const {
  std::ostringstream text;
  const auto registeredNow = registered();
  for (std::size_t l = 0; l < registeredNow.size(); ++l) {
    const Link& of = topology_.links[l];
    for (int end : {0, 1}) {
      const auto& node = nodes_[static_cast<std::size_t>(of.node[end])];
      if (!node || !node->bridging || !forwarding(of.role[end])) continue;
      Vlans own;
      node->bridge->registered(portId(of.port[end])).walk([&](std::uint16_t v) { own.insert(v); });
      if (own == registeredNow[l].end[end]) continue;
      text << "bridge " << of.node[end] << " port" << of.port[end]
           << ": the application's registrations are not the engine's; ";
    }
  }
  for (std::size_t n = 0; n < nodes_.size(); ++n) {
    if (nodes_[n] && nodes_[n]->engine->mrpCounters()->numOfMalformedPkts() > 0) {
      text << "node " << n << ": malformed MRPDU; ";
    }
  }
  return std::move(text).str();
}

std::uint64_t Network::framesSent() const {
  std::uint64_t sum = gone_.sent;
  for (const auto& wire : wires_) {
    if (wire) sum += wire->fromA().sent + wire->fromB().sent;
  }
  return sum;
}

std::uint64_t Network::framesLost() const {
  std::uint64_t sum = gone_.lost;
  for (const auto& wire : wires_) {
    if (wire) sum += wire->fromA().lost + wire->fromB().lost;
  }
  return sum;
}

}  // namespace Sim
