#pragma once

#include <compare>
#include <cstdint>

#include "platform/Export.h"

namespace Platform {

// VLAN identifier, 1..4094 (IEEE 802.1Q table 9-2).
class MRP_API VlanId {
 public:
  // Throws std::range_error "VlanId::value < 1 or > 4094 not allowed" for any other value.
  explicit VlanId(std::uint64_t value);
  std::uint16_t value() const { return value_; }
  friend auto operator<=>(VlanId, VlanId) = default;

 private:
  std::uint16_t value_;
};

}  // namespace Platform
