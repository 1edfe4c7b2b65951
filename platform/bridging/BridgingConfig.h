#pragma once

#include <cstdint>
#include <map>

#include "platform/bridging/VlanId.h"
#include "platform/interface/IntfMap.h"
#include "platform/packet/EthAddr.h"
#include "platform/reactor/Entity.h"

namespace Platform {

// Bridge address, native VLANs of switchports and the configured VLANs.
class MRP_API BridgingConfig : public Entity {
 public:
  struct VlanConfig {
    std::uint16_t instance = 0;  // spanning-tree instance that carries the VLAN in backup mode
  };

  EthAddr bridgeMacAddr() const { return bridgeMacAddr_; }
  void bridgeMacAddrIs(EthAddr address) { bridgeMacAddr_ = address; }

  // As configured, unchecked; 0 when the port has none.
  std::uint16_t nativeVlan(IntfId intf) const {
    const std::uint16_t* vlan = nativeVlan_.find(intf);
    return vlan ? *vlan : std::uint16_t{0};
  }
  void nativeVlanIs(IntfId intf, std::uint16_t vlan) { nativeVlan_.is(intf) = vlan; }

  const VlanConfig* vlanConfig(VlanId vlan) const {
    auto it = vlanConfig_.find(vlan);
    return it == vlanConfig_.end() ? nullptr : &it->second;
  }
  void vlanConfigIs(VlanId vlan, const VlanConfig& config) { vlanConfig_[vlan] = config; }

 private:
  EthAddr bridgeMacAddr_;
  IntfMap<std::uint16_t> nativeVlan_;
  std::map<VlanId, VlanConfig> vlanConfig_;
};

// Which spanning-tree instance carries which VLAN.
class MRP_API BridgingTopologyConfig : public Entity {
 public:
  std::uint16_t instance(VlanId vlan) const {
    auto it = instance_.find(vlan);
    return it == instance_.end() ? std::uint16_t{0} : it->second;
  }
  void instanceIs(VlanId vlan, std::uint16_t instance) { instance_[vlan] = instance; }

 private:
  std::map<VlanId, std::uint16_t> instance_;
};

}  // namespace Platform
