#pragma once

#include <array>

#include "agent/bridge/Bridge.h"
#include "platform/bridging/VlanId.h"

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
class MvrpBridge : public Bridge {
 public:
  MvrpBridge();
  ~MvrpBridge() override;

  // Static declarations: on every forwarding port, or on one port, whatever is registered. What
  // names a port that is none of the bridge's does nothing.
  void declarationIs(Platform::VlanId vlan, bool declared);
  void declarationIs(IntfId intf, Platform::VlanId vlan, bool declared);
  // Normal at first. Of one VLAN, or of all of them.
  Registration registration(IntfId intf, std::uint16_t vlan) const;
  void registrationIs(IntfId intf, Platform::VlanId vlan, Registration registration);
  void registrationIs(IntfId intf, const VlanSet& vlans, Registration registration);
  void registrationIs(IntfId intf, Registration registration);

  // VLANs registered on a port that forwards them, as the neighbour declares or fixed: the port is
  // to be a member of them.
  VlanSet registered(IntfId intf) const;
  // VLANs registered on a port, as the neighbour declares or fixed, whether it forwards them or
  // not.
  VlanSet registrations(IntfId intf) const;
  // VLANs that the bridge declares on a port.
  VlanSet declared(IntfId intf) const;

  bool mrpJoinIndication(const MrpParameters& parameters) override;
  void mrpLeaveIndication(const MrpParameters& parameters) override;

 private:
  struct Port;

  void handleMember(const Member& member, bool there) override;
  void handleStart() override;
  void handleOpen(const Member&) override {}
  void readRecords(const Member& member) override;
  void handleForwards(const Member& member, const VlanSet& vlans) override;
  void settle() override;

  // Propagates a change of what a port contributes; `join` is the event of new declarations.
  void contribute(Port& port, std::uint16_t vlan, MrpThreePackedEvent join);
  // Notes what a port contributes; true when that has changed.
  bool contributes(Port& port, std::uint16_t vlan);
  // Request what is wanted and not declared, withdraw what is declared and not wanted.
  void settleAll(std::uint16_t vlan, MrpThreePackedEvent join);
  void settle(Port& port, std::uint16_t vlan, MrpThreePackedEvent join);
  void requestVlan(IntfId intf, std::uint16_t vlan, std::uint8_t event);
  bool registrationIs(Port& port, std::uint16_t vlan, Registration registration);
  Port* port(IntfId intf) const;
  bool wants(const Port& port, std::uint16_t vlan) const;

  Platform::IntfMap<Port> ports_;
  // Of each VLAN: the ports that contribute a registration of it.
  std::array<std::uint32_t, kMaxVlan + 1> contributors_{};
  VlanSet always_;  // static declarations on every port
  // VLANs to be settled together; those of them that have been declared as new.
  VlanSet changed_;
  VlanSet new_;
};

}  // namespace Mrp
