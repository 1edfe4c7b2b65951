#pragma once

#include <memory>
#include <vector>

#include "agent/mvrp/MvrpBridge.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "platform/embedded/VirtualClock.h"
#include "platform/embedded/Wire.h"
#include "tests/sim/Topology.h"

namespace Sim {

using Platform::IntfId;
using Platform::Ptr;
using Platform::Embedded::Switch;
using Platform::Embedded::VirtualClock;
using Platform::Embedded::Wire;
using Platform::Embedded::WireOptions;

// How a port goes down: its agent disables it, or its device vanishes.
enum class Down { disabled, vanished };

// The switches of a topology with an engine each, and the wires between them. Bridges run
// MvrpBridge, stations a plain service object.
class Network {
 public:
  Network(Topology& topology, const WireOptions& fate, std::uint64_t seed);
  ~Network();

  VirtualClock& clock() { return *clock_; }
  // Puts the roles of the topology's links into effect at this instant, blocking before forwarding.
  void applyRoles();
  // The link and its two ports, in step with Link::up. Its roles end with it.
  void linkDown(int link, Down how);
  void linkUp(int link);
  // The engine, its application and its records end and start again over the same ports.
  void restartAgent(int bridge);
  // The whole switch ends. Its links have to be down; switchOn makes another.
  void switchOff(int bridge);
  void switchOn(int bridge);

  void declare(int station, std::uint16_t vlan, bool asNew);
  void withdraw(int station, std::uint16_t vlan);
  const std::vector<Vlans>& declared() const { return declared_; }

  // Changes what happens to frames sent from now on.
  void fateIs(const WireOptions& fate);

  // What each end of each link has registered (IN or LV).
  std::vector<Topology::Ends> registered() const;
  // What is wrong inside the switches, whatever happened between them; empty if nothing is.
  std::string inconsistency() const;
  std::uint64_t framesSent() const;
  std::uint64_t framesLost() const;

 private:
  struct Node;

  std::unique_ptr<Node> makeNode(int node) const;
  Node& at(int node) const { return *nodes_[static_cast<std::size_t>(node)]; }
  Link& link(int l) const { return topology_.links[static_cast<std::size_t>(l)]; }
  void wire(int l);
  void portUp(int node, int port);
  void portDown(int node, int port, Down how);
  void roleIs(int node, int port, Role role);
  void request(int station, std::uint16_t vlan, Mrp::MrpThreePackedEvent event);

  Topology& topology_;
  WireOptions fate_;
  std::uint64_t seed_;
  Ptr<VirtualClock> clock_;
  std::vector<Vlans> declared_;
  std::vector<std::unique_ptr<Node>> nodes_;
  std::vector<std::unique_ptr<Wire>> wires_;
  Wire::Counters gone_;  // of wires that went with a switch
};

}  // namespace Sim
