#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "mrp/types/BigEndian.h"
#include "mrp/types/TextForm.h"
#include "platform/Export.h"
#include "platform/log/Trace.h"
#include "platform/packet/PktReader.h"

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

// Reads a FirstValue. False when fewer than 2 octets are left: nothing is consumed and `value` is
// untouched.
bool parseVlan(Platform::PktReader& reader, MvrpVlanAttribute& value);

// The value that follows `value` in a vector; wraps at 16 bits, 4095 is not special.
constexpr void increment(MvrpVlanAttribute& value) {
  value.vlanId = static_cast<std::uint16_t>(value.vlanId + 1);
}
// The same with a trace of the new value at level 8.
void traceVlanVector(const MvrpVlanAttribute& value, Platform::Trace& trace);
inline void mrpIncrementVlanVector(MvrpVlanAttribute& value, Platform::Trace& trace) {
  increment(value);
  if (trace.isOn(8)) traceVlanVector(value, trace);
}

}  // namespace Mrp

template <>
struct Platform::ValueCodec<Mrp::MvrpVlanAttribute>
    : Mrp::TextCodec<Mrp::MvrpVlanAttribute, Mrp::parseMvrpVlanAttribute> {};
