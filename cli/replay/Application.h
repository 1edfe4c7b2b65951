#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mrp/types/MrpEnums.h"
#include "platform/packet/EthAddr.h"

namespace Cli {

using Octets = std::vector<std::uint8_t>;
using OctetSpan = std::span<const std::uint8_t>;

// What tells one MRP application from the other (IEEE 802.1Q-2018 tables 10-1 and 10-2).
struct ApplicationInfo {
  Mrp::MrpApplication id;
  std::string_view name;   // as on the command line and in files
  std::string_view title;  // as in running text
  Platform::EthAddr macAddr;
  std::uint16_t etherType;
  std::uint8_t types;  // attribute types run from 1 to this
};

// `application` is msrp or mvrp.
const ApplicationInfo& infoOf(Mrp::MrpApplication application);
std::optional<Mrp::MrpApplication> applicationNamed(std::string_view name);
// The application that a frame's EtherType names, if any.
std::optional<Mrp::MrpApplication> applicationOf(OctetSpan frame);

// "talker advertise"; the number for a type that the application lacks.
std::string typeName(Mrp::MrpApplication application, std::uint8_t type);
// Big-endian number of up to 8 octets.
std::uint64_t numberAt(OctetSpan octets, std::size_t offset, std::size_t size);

}  // namespace Cli
