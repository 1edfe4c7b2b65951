#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "platform/Export.h"
#include "platform/interface/IntfId.h"

namespace Mrp {

using Platform::IntfId;

// Identity of one attribute declaration. The attribute type is an MsrpAttrType or an MvrpAttrType,
// by application; the key is that of the value (`keyOf`). Ordered by port, type and key.
struct MrpAttribute {
  IntfId intfId;
  std::uint8_t attributeType = 0;
  std::uint64_t attributeKey = 0;

  friend bool operator==(const MrpAttribute&, const MrpAttribute&) = default;
  friend std::strong_ordering operator<=>(const MrpAttribute&, const MrpAttribute&) = default;
};

// All attributes of one type on one port, as a LeaveAll addresses them.
struct MrpLeaveAllKey {
  IntfId intfId;
  std::uint8_t attributeType = 0;

  friend bool operator==(const MrpLeaveAllKey&, const MrpLeaveAllKey&) = default;
  friend std::strong_ordering operator<=>(const MrpLeaveAllKey&, const MrpLeaveAllKey&) = default;
};

// A service request or indication. The attribute's value does not travel in it but in the value
// slot of its type.
struct MrpParameters {
  IntfId intfId;
  std::uint8_t attributeType = 0;
  // An MrpThreePackedEvent (0..5), kLeaveAllEvent or kInternalLeaveEvent.
  std::uint8_t attributeEvent = 0;
  std::uint8_t reserved = 0;  // carries 0 and is never read

  friend bool operator==(const MrpParameters&, const MrpParameters&) = default;
};

// "{port1 1 4660}": port, type, key as hexStr prints it.
MRP_API std::ostream& operator<<(std::ostream& out, const MrpAttribute& attribute);
// "{port1 1}": port, type.
MRP_API std::ostream& operator<<(std::ostream& out, const MrpLeaveAllKey& key);
// "{port1 1 5}": port, type, event.
MRP_API std::ostream& operator<<(std::ostream& out, const MrpParameters& parameters);

// Index of an octet in the value of an attribute record, 0..64.
class ValueIndex {
 public:
  static constexpr std::uint8_t min = 0;
  static constexpr std::uint8_t max = 64;
  static constexpr std::size_t count = 65;

  constexpr ValueIndex() = default;
  // Throws std::range_error for anything above `max`.
  constexpr ValueIndex(std::size_t value) : value_(static_cast<std::uint8_t>(value)) {
    if (value > max) refuse();
  }
  constexpr std::uint8_t value() const { return value_; }

  // Throws the range error.
  [[noreturn]] MRP_API static void refuse();

  friend constexpr auto operator<=>(ValueIndex, ValueIndex) = default;

 private:
  std::uint8_t value_ = 0;
};

// An attribute key as it appears in logs: in signed decimal, whatever the name promises, so a key
// with its top bit set reads negative.
MRP_API std::string hexStr(std::uint64_t key);

}  // namespace Mrp

template <>
struct std::hash<Mrp::MrpAttribute> {
  std::size_t operator()(const Mrp::MrpAttribute& a) const noexcept {
    const std::uint64_t place = a.intfId.value() << 8 | a.attributeType;
    const std::uint64_t mixed =
        (a.attributeKey ^ place * 0x9E3779B97F4A7C15u) * 0xD6E8FEB86659FD93u;
    return static_cast<std::size_t>(mixed ^ mixed >> 32);
  }
};

template <>
struct std::hash<Mrp::MrpLeaveAllKey> {
  std::size_t operator()(const Mrp::MrpLeaveAllKey& k) const noexcept {
    return static_cast<std::size_t>((k.intfId.value() << 8 | k.attributeType) *
                                    0x9E3779B97F4A7C15u);
  }
};
