#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mrp/types/Applications.h"

namespace Cli {

using Octets = std::vector<std::uint8_t>;
using OctetSpan = std::span<const std::uint8_t>;

using Mrp::ApplicationInfo;

// `application` is msrp or mvrp.
inline const ApplicationInfo& infoOf(Mrp::MrpApplication application) {
  return Mrp::applicationInfo(application);
}
std::optional<Mrp::MrpApplication> applicationNamed(std::string_view name);
// The application that a frame's EtherType names, if any.
std::optional<Mrp::MrpApplication> applicationOf(OctetSpan frame);

// "talker advertise"; the number for a type that the application lacks.
std::string typeName(Mrp::MrpApplication application, std::uint8_t type);
// Big-endian number of up to 8 octets.
std::uint64_t numberAt(OctetSpan octets, std::size_t offset, std::size_t size);

}  // namespace Cli
