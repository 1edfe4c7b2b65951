#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "mrp/types/BigEndian.h"
#include "mrp/types/TextForm.h"
#include "platform/Export.h"

// The value that MVRP declares (IEEE 802.1Q-2018 11.2.3): its memory image is what is sent as
// FirstValue, staged on receive and stored in the database.
namespace Mrp {

// Attribute type 1.
struct MvrpVlanAttribute {
  BigEndian<std::uint16_t> vlanId;  // 1..4094; a peer may send any number

  friend constexpr bool operator==(const MvrpVlanAttribute&, const MvrpVlanAttribute&) = default;
};
static_assert(sizeof(MvrpVlanAttribute) == 2 && alignof(MvrpVlanAttribute) == 1 &&
              std::is_trivially_copyable_v<MvrpVlanAttribute>);

// The key that identifies a declaration on its port.
constexpr std::uint64_t keyOf(const MvrpVlanAttribute& value) { return value.vlanId; }

// Text form: the VLAN identifier in decimal. The parser accepts exactly what is printed.
MRP_API std::string stringValue(const MvrpVlanAttribute& value);
MRP_API std::optional<MvrpVlanAttribute> parseMvrpVlanAttribute(std::string_view text);

}  // namespace Mrp

template <>
struct Platform::ValueCodec<Mrp::MvrpVlanAttribute>
    : Mrp::TextCodec<Mrp::MvrpVlanAttribute, Mrp::parseMvrpVlanAttribute> {};
