#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"
#include "platform/embedded/Wire.h"
#include "sim/network/Topology.h"

namespace Sim {

using Platform::IntfId;
using Platform::Ptr;
using Platform::Embedded::Switch;
using Platform::Embedded::VirtualClock;
using Platform::Embedded::Wire;
using Platform::Embedded::WireOptions;

// How a port goes down: its agent disables it, or its device vanishes.
enum class Down { disabled, vanished };

// What runs on a switch of the fabric.
class Application {
 public:
  virtual ~Application() = default;
  // The device is there.
  virtual void portUp(IntfId intf) = 0;
  // When the device vanishes, it has done so already.
  virtual void portDown(IntfId intf, Down how) = 0;
};

// "port<n>", as every node names its ports.
IntfId portId(int port);
bool forwarding(Role role);

// The switches of a topology, what runs on each, and the wires between them.
class Fabric {
 public:
  // Makes what runs on a node. It is destroyed before the switch, and before its successor is made.
  using Maker = std::function<std::unique_ptr<Application>(int node, Switch& sw)>;

  // Nothing is there before start(). LeaveAll periods are drawn from `seed`, too, so that every run
  // is repeatable.
  Fabric(Topology& topology, const WireOptions& fate, std::uint64_t seed);
  ~Fabric();
  // Makes all switches with what runs on them; all links come up.
  void start(Maker maker);

  VirtualClock& clock() const { return *clock_; }
  Topology& topology() const { return topology_; }
  // Null while the switch is off.
  Application* application(int node) const;

  // Puts the roles of the topology's links into effect at this instant, blocking before forwarding.
  void applyRoles();
  // The link and its two ports, in step with Link::up. Its roles end with it.
  void linkDown(int link, Down how);
  void linkUp(int link);
  // What runs on a node ends and starts again over the same ports.
  void restart(int node);
  // The whole switch ends. Its links have to be down; switchOn makes another.
  void switchOff(int node);
  void switchOn(int node);

  // Changes what happens to frames sent from now on.
  void fateIs(const WireOptions& fate);
  std::uint64_t framesSent() const { return total().sent; }
  std::uint64_t framesLost() const { return total().lost; }

 private:
  struct Node;

  std::unique_ptr<Node> makeNode(int node) const;
  Node& at(int node) const { return *nodes_[static_cast<std::size_t>(node)]; }
  bool isOn(int node) const { return nodes_[static_cast<std::size_t>(node)] != nullptr; }
  Link& link(int l) const { return topology_.links[static_cast<std::size_t>(l)]; }
  void wire(int l);
  void portUp(int node, int port);
  void portDown(int node, int port, Down how);
  void roleIs(int node, int port, Role role);
  Wire::Counters total() const;

  Topology& topology_;
  WireOptions fate_;
  std::uint64_t seed_;
  Maker maker_;
  Ptr<VirtualClock> clock_;
  std::vector<std::unique_ptr<Node>> nodes_;
  std::vector<std::unique_ptr<Wire>> wires_;
  Wire::Counters gone_;  // of wires that went with a switch
};

}  // namespace Sim
