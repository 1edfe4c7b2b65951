#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Platform::Linux {

// What an Ethernet interface has agreed on with its neighbour.
struct EthernetMedium {
  std::uint64_t rate = 0;  // bit/s
  bool fullDuplex = false;

  friend bool operator==(const EthernetMedium&, const EthernetMedium&) = default;
};

// None for an interface that is not there, has no carrier, or is of a kind that has no rate.
std::optional<EthernetMedium> ethernetMedium(const std::string& interface);

}  // namespace Platform::Linux
