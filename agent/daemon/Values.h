#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "mrp/types/MrpEnums.h"

namespace Daemon {

// The key of a value in its image, as the application's records bear it.
std::uint64_t keyOfImage(Mrp::MrpApplication application, std::uint8_t type,
                         std::span<const std::uint8_t> image);

// Sixteen hexadecimal digits.
std::string streamIdText(std::uint64_t number);

// A VLAN identifier as MVRP's value.
constexpr std::array<std::uint8_t, 2> vlanImage(std::uint16_t vlan) {
  return {static_cast<std::uint8_t>(vlan >> 8), static_cast<std::uint8_t>(vlan)};
}

}  // namespace Daemon
