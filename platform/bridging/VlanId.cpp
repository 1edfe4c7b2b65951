#include "platform/bridging/VlanId.h"

#include <stdexcept>

namespace Platform {

VlanId::VlanId(std::uint16_t value) : value_(value) {
  if (value < 1 || value > 4094) {
    throw std::range_error("VlanId::value < 1 or > 4094 not allowed");
  }
}

}  // namespace Platform
