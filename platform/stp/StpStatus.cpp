#include "platform/stp/StpStatus.h"

namespace Stp {

void MstiPortStatus::roleIs(Role role) {
  if (role == role_) return;
  role_ = role;
  onRole_.notify();
}

std::string perVlanInstanceName(Platform::VlanId vlan) {
  return kVl + std::to_string(vlan.value());
}

}  // namespace Stp
