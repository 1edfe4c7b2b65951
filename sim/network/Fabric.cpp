#include "sim/network/Fabric.h"

#include <cstdlib>

namespace Sim {
namespace {

void add(Wire::Counters& sum, const Wire::Counters& more) {
  sum.sent += more.sent;
  sum.lost += more.lost;
}

}  // namespace

IntfId portId(int port) { return IntfId("port" + std::to_string(port)); }

bool forwarding(Role role) { return role == Role::root || role == Role::designated; }

struct Fabric::Node {
  explicit Node(Ptr<Platform::Clock> clock) : sw(std::move(clock)) {}

  Switch sw;
  std::unique_ptr<Application> application;
};

// The periods of LeaveAll come from the process's generator.
Fabric::Fabric(Topology& topology, const WireOptions& fate, std::uint64_t seed)
    : topology_(topology),
      fate_(fate),
      seed_(seed * 1000003),
      clock_(Platform::makePtr<VirtualClock>()),
      wires_(topology.links.size()) {
  ::unsetenv("DISABLE_LEAVE_ALL_RANDOMIZATION");
  std::srand(static_cast<unsigned>(seed));
}

void Fabric::start(Maker maker) {
  maker_ = std::move(maker);
  for (int n = 0; n < topology_.nodes(); ++n) nodes_.push_back(makeNode(n));
  for (Link& l : topology_.links) l.up = false;
  for (std::size_t l = 0; l < wires_.size(); ++l) {
    wire(static_cast<int>(l));
    linkUp(static_cast<int>(l));
  }
}

Fabric::~Fabric() { wires_.clear(); }

std::unique_ptr<Fabric::Node> Fabric::makeNode(int n) const {
  auto node = std::make_unique<Node>(clock_);
  node->sw.eventLog().onIs(false);
  node->application = maker_(n, node->sw);
  return node;
}

Application* Fabric::application(int node) const {
  return isOn(node) ? at(node).application.get() : nullptr;
}

void Fabric::wire(int l) {
  const Link& of = link(l);
  WireOptions fate = fate_;
  fate.seed = ++seed_;
  wires_[static_cast<std::size_t>(l)] = std::make_unique<Wire>(
      at(of.node[0]).sw, portId(of.port[0]), at(of.node[1]).sw, portId(of.port[1]), fate);
}

// --- Links ---------------------------------------------------------------------------------------

void Fabric::applyRoles() {
  for (const bool forward : {false, true}) {
    for (const Link& l : topology_.links) {
      for (int end : {0, 1}) {
        if (forwarding(l.role[end]) == forward) roleIs(l.node[end], l.port[end], l.role[end]);
      }
    }
  }
}

void Fabric::roleIs(int node, int port, Role role) {
  if (!topology_.isBridge(node) || !isOn(node)) return;
  auto& ports = at(node).sw.stpStatus()->childIs("stp").childIs(Stp::kCist);
  ports.childIs(portId(port).name()).roleIs(role);
}

void Fabric::linkDown(int l, Down how) {
  Link& of = link(l);
  of.up = false;
  wires_[static_cast<std::size_t>(l)]->up(false);
  for (int end : {0, 1}) {
    portDown(of.node[end], of.port[end], how);
    of.role[end] = Role::none;
    roleIs(of.node[end], of.port[end], Role::none);
  }
}

void Fabric::linkUp(int l) {
  Link& of = link(l);
  of.up = true;
  wires_[static_cast<std::size_t>(l)]->up(true);
  for (int end : {0, 1}) portUp(of.node[end], of.port[end]);
}

void Fabric::portUp(int node, int port) {
  const auto address =
      0x020000000000u + static_cast<unsigned>(node) * 256u + static_cast<unsigned>(port);
  const auto ethAddr = Platform::EthAddr::fromNumber(address);
  at(node).application->portUp(at(node).sw.portIs(portId(port).name(), ethAddr));
}

void Fabric::portDown(int node, int port, Down how) {
  if (how == Down::vanished) at(node).sw.portDel(portId(port));
  at(node).application->portDown(portId(port), how);
}

// --- Switches ------------------------------------------------------------------------------------

void Fabric::restart(int n) {
  at(n).application = nullptr;
  at(n).application = maker_(n, at(n).sw);
  for (const int l : topology_.linksOf[static_cast<std::size_t>(n)]) {
    const Link& of = link(l);
    if (of.up) portUp(n, of.port[of.node[0] == n ? 0 : 1]);
  }
}

void Fabric::switchOff(int n) {
  for (const int l : topology_.linksOf[static_cast<std::size_t>(n)]) {
    std::unique_ptr<Wire>& wire = wires_[static_cast<std::size_t>(l)];
    if (!wire) continue;  // the switch at its other end is off, too
    add(gone_, wire->fromA());
    add(gone_, wire->fromB());
    wire = nullptr;
  }
  nodes_[static_cast<std::size_t>(n)] = nullptr;
}

void Fabric::switchOn(int n) {
  nodes_[static_cast<std::size_t>(n)] = makeNode(n);
  for (const int l : topology_.linksOf[static_cast<std::size_t>(n)]) {
    if (!isOn(link(l).node[0]) || !isOn(link(l).node[1])) continue;
    wire(l);
    wires_[static_cast<std::size_t>(l)]->up(false);
  }
}

// --- Wires ---------------------------------------------------------------------------------------

void Fabric::fateIs(const WireOptions& fate) {
  fate_ = fate;
  for (const auto& wire : wires_) {
    wire->lossIs(fate.loss);
    wire->duplicationIs(fate.duplication);
    wire->reorderingIs(fate.reordering);
  }
}

Wire::Counters Fabric::total() const {
  Wire::Counters sum = gone_;
  for (const auto& wire : wires_) {
    if (!wire) continue;
    add(sum, wire->fromA());
    add(sum, wire->fromB());
  }
  return sum;
}

}  // namespace Sim
