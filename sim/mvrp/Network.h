#pragma once

#include <string>
#include <vector>

#include "mrp/types/MrpEnums.h"
#include "sim/network/Fabric.h"

namespace Sim {

// A fabric whose bridges run MvrpBridge and whose stations run a plain service object, all links
// up. Stations declare VLANs.
class Network : public Fabric {
 public:
  Network(Topology& topology, const WireOptions& fate, std::uint64_t seed);

  void declare(int station, std::uint16_t vlan, bool asNew);
  void withdraw(int station, std::uint16_t vlan);
  // A node declares the VLAN and withdraws it again within one tick; not one that it declares.
  void blink(int node, std::uint16_t vlan);
  const std::vector<Vlans>& declared() const { return declared_; }

  // What each end of each link has registered (IN or LV).
  std::vector<Topology::Ends> registered() const;
  // What is wrong inside the switches, whatever happened between them; empty if nothing is.
  std::string inconsistency() const;

 private:
  std::unique_ptr<Application> make(int node, Switch& sw) const;
  void request(int station, std::uint16_t vlan, Mrp::MrpThreePackedEvent event);

  std::vector<Vlans> declared_;
};

}  // namespace Sim
