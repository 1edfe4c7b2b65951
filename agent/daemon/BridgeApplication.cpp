#include "agent/daemon/BridgeApplication.h"

#include <cstring>

namespace Daemon {

void BridgeApplication::declarationIs(IntfId intf, std::uint8_t,
                                      std::span<const std::uint8_t> image, bool declared) {
  Mrp::MvrpVlanAttribute value;
  if (image.size() != sizeof value) return;
  std::memcpy(&value, image.data(), sizeof value);
  if (!Mrp::VlanSet::valid(value.vlanId)) return;
  MvrpBridge::declarationIs(intf, Platform::VlanId(value.vlanId), declared);
}

void BridgeApplication::everywhereIs(const Mrp::VlanSet& vlans, bool declared) {
  vlans.walk([&](std::uint16_t vlan) {
    MvrpBridge::declarationIs(Platform::VlanId(vlan), declared);
  });
}

bool BridgeApplication::mrpJoinIndication(const Mrp::MrpParameters& parameters) {
  teller_(true, parameters);
  return MvrpBridge::mrpJoinIndication(parameters);
}

void BridgeApplication::mrpLeaveIndication(const Mrp::MrpParameters& parameters) {
  teller_(false, parameters);
  MvrpBridge::mrpLeaveIndication(parameters);
}

}  // namespace Daemon
