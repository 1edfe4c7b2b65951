#include "platform/bridging/VlanId.h"

#include <stdexcept>

namespace Platform {

VlanId::VlanId(std::uint64_t value) : value_(static_cast<std::uint16_t>(value)) {
  if (value < 1 || value > 4094) {
    throw std::range_error("VlanId::value < 1 or > 4094 not allowed");
  }
}

}  // namespace Platform
