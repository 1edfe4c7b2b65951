#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "mrp/types/MrpEnums.h"
#include "platform/Export.h"
#include "platform/packet/EthAddr.h"

// What distinguishes one application from another, and one attribute type from another: the one
// place that says it. A new application is a row here, its values and their text forms, and an arm
// in ValueRecords::with.
namespace Mrp {

// How the keys of a type are spread: dense ones (VLAN identifiers, SR classes) are small numbers,
// sparse ones (stream identifiers) any.
enum class AttributeKeys : std::uint8_t { dense, sparse };

struct AttributeTypeInfo {
  std::uint8_t type;        // AttributeType on the wire
  const char* name;         // in running text
  std::uint8_t firstValue;  // AttributeLength: octets of FirstValue
  std::uint8_t image;       // octets in which a value is staged and stored
  std::uint8_t keyOctets;   // the key is the big-endian number in the image's first octets
  AttributeKeys keys;
  bool fourPacked;  // a four-packed event goes with each value; it is no part of FirstValue
  bool first;       // staged attributes of this type act before all others of their frame
  bool own;         // the value is each station's own: a join is indicated and never stored
  // How many of them the programs here let a neighbour hold on a port, see MrpConfig.
  std::uint32_t limit;
};

struct ApplicationInfo {
  MrpApplication application;
  const char* name;           // as on a command line and in files
  const char* title;          // as in running text
  Platform::EthAddr address;  // destination of its MRPDUs (IEEE 802.1Q-2018 table 10-1)
  std::uint16_t etherType;    // of its MRPDUs (table 10-2), host order
  bool listLength;            // its messages carry an AttributeListLength
  std::span<const AttributeTypeInfo> types;  // row i is that of type i + 1

  // Null for a type that the application lacks.
  constexpr const AttributeTypeInfo* type(std::uint8_t number) const {
    return number >= 1 && number <= types.size() ? &types[number - 1u] : nullptr;
  }
};

// clang-format off
inline constexpr std::array kMsrpTypes{
    //                 type name                FirstValue image key                         four-   first  own    limit
    //                                                                                       packed
    AttributeTypeInfo{1, "talker advertise", 25,        25,   8, AttributeKeys::sparse, false, false, false, 8192},
    AttributeTypeInfo{2, "talker failed",    34,        34,   8, AttributeKeys::sparse, false, false, false, 8192},
    AttributeTypeInfo{3, "listener",          8,        12,   8, AttributeKeys::sparse, true,  false, false, 8192},
    AttributeTypeInfo{4, "domain",            4,         4,   1, AttributeKeys::dense,  false, true,  true,   256},
};
inline constexpr std::array kMvrpTypes{
    AttributeTypeInfo{1, "VLAN",              2,         2,   2, AttributeKeys::dense,  false, false, false, 4096},
};
inline constexpr std::array kApplications{
    ApplicationInfo{MrpApplication::msrp, "msrp", "MSRP", Platform::EthAddr::fromNumber(0x0180C200000E), 0x22EA, true,  kMsrpTypes},
    ApplicationInfo{MrpApplication::mvrp, "mvrp", "MVRP", Platform::EthAddr::fromNumber(0x0180C2000021), 0x88F5, false, kMvrpTypes},
};
// clang-format on

// What an engine of any other application works by: it knows no type.
inline constexpr ApplicationInfo kNoApplication{
    MrpApplication::none, "none", "none", {}, 0, false, {}};

constexpr const ApplicationInfo& applicationInfo(MrpApplication application) {
  for (const ApplicationInfo& info : kApplications) {
    if (info.application == application) return info;
  }
  return kNoApplication;
}

// The most attribute types that any application has; numbers run from 1.
inline constexpr std::size_t kMostTypes = kMsrpTypes.size();

}  // namespace Mrp
