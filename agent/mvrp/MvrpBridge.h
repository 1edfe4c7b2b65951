#pragma once

#include <array>
#include <memory>

#include "agent/mvrp/VlanSet.h"
#include "mrp/MrpSm/MrpLib.h"
#include "platform/bridging/VlanId.h"
#include "platform/stp/RoleWatcher.h"

namespace Mrp {

// Registrar administrative control of a VLAN on a port (IEEE 802.1Q-2018 10.7.2).
enum class Registration : std::uint8_t {
  normal,     // as the neighbour declares
  fixed,      // registered, whatever arrives
  forbidden,  // not registered, whatever arrives
};

// MVRP in a VLAN bridge: attribute propagation (IEEE 802.1Q-2018 10.3) between the ports that the
// spanning tree lets forward. A VLAN that is registered on one of them is declared on every other
// one, and withdrawn when no other one registers it any more.
//
//   auto bridge = makePtr<MvrpBridge>();
//   auto engine = mrpSmFactory(…, bridge.get(), …);
//   bridge->start();
//   bridge->portIs(port);
//
// The bridge outlives its engines. Ports and settings may change at any time; what depends on them
// follows at once.
class MvrpBridge : public MrpLib, private Stp::RoleWatcher::Listener {
 public:
  MvrpBridge();
  ~MvrpBridge() override;

  // Takes up the work with the engine that has been made with this service object: to be called
  // then, again when it has been activated from standby, and again when the mode of the spanning
  // tree or the assignment of VLANs to instances has changed.
  void start();

  // The ports of the bridge. Settings of a port go with it. A port that ends tells its neighbour.
  // Both need an engine.
  void portIs(IntfId intf);
  void portDel(IntfId intf);

  // Static declarations: on every forwarding port, or on one port, whatever is registered. What
  // names a port that is none of the bridge's does nothing.
  void declarationIs(Platform::VlanId vlan, bool declared);
  void declarationIs(IntfId intf, Platform::VlanId vlan, bool declared);
  // Normal at first. Of one VLAN, or of all of them.
  void registrationIs(IntfId intf, Platform::VlanId vlan, Registration registration);
  void registrationIs(IntfId intf, const VlanSet& vlans, Registration registration);
  void registrationIs(IntfId intf, Registration registration);

  // VLANs registered on a port that forwards them, as the neighbour declares or fixed: the port is
  // to be a member of them.
  VlanSet registered(IntfId intf) const;
  // VLANs that the bridge declares on a port.
  VlanSet declared(IntfId intf) const;

  bool mrpJoinIndication(const MrpParameters& parameters) override;
  void mrpLeaveIndication(const MrpParameters& parameters) override;

 private:
  struct Port;

  void handleRole(const std::string& stpi, const std::string& msti, const std::string& port,
                  Stp::Role role) override;
  void handlePam(IntfId intf);
  void open(Port& port);
  void close(Port& port);
  void forward(Port& port, const VlanSet& vlans, bool forwards);
  void readRecords(Port& port);
  void askNeighbour(const Port& port);
  void review(Port& port, const VlanSet& vlans);
  // Propagates a change of what a port contributes; `join` is the event of new declarations.
  void contribute(Port& port, std::uint16_t vlan, MrpThreePackedEvent join);
  // Notes what a port contributes; true when that has changed.
  bool contributes(Port& port, std::uint16_t vlan);
  // Request what is wanted and not declared, withdraw what is declared and not wanted.
  void settleAll(std::uint16_t vlan, MrpThreePackedEvent join);
  void settle(Port& port, std::uint16_t vlan, MrpThreePackedEvent join);
  void request(IntfId intf, std::uint16_t vlan, std::uint8_t event);
  bool registrationIs(Port& port, std::uint16_t vlan, Registration registration);
  Port* port(IntfId intf) const;

  Platform::IntfMap<std::unique_ptr<Port>> ports_;
  // Of each VLAN: the ports that contribute a registration of it.
  std::array<std::uint32_t, kMaxVlan + 1> contributors_{};
  VlanSet always_;  // static declarations on every port
  bool starting_ = false;
  Platform::Reactor<IntfId> pamReactor_;
  std::unique_ptr<Stp::RoleWatcher> roles_;
};

}  // namespace Mrp
