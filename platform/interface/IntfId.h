#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/reactor/Attributes.h"

namespace Platform {

// Identifier of a port: an interned interface name, 8 octets. The empty identifier is 0 and prints
// as "". Ordered by name in natural order ("port2" before "port10"). Equal names give equal
// identifiers in the whole process; an identifier says nothing about which switch has such a port.
class MRP_API IntfId {
 public:
  constexpr IntfId() = default;
  explicit IntfId(std::string_view name);

  const std::string& name() const;
  bool empty() const { return value_ == 0; }
  // Dense small number, for tables indexed by port.
  std::uint64_t value() const { return value_; }

  friend bool operator==(IntfId a, IntfId b) { return a.value_ == b.value_; }
  friend std::strong_ordering operator<=>(IntfId a, IntfId b) {
    return a.value_ == b.value_ ? std::strong_ordering::equal : compareNames(a, b);
  }

 private:
  static std::strong_ordering compareNames(IntfId a, IntfId b);
  std::uint64_t value_ = 0;
};

// Compares two names with runs of digits read as numbers; names that differ in leading zeros alone
// fall back to the order of their characters.
MRP_API std::strong_ordering naturalOrder(std::string_view a, std::string_view b);

MRP_API std::ostream& operator<<(std::ostream& out, IntfId intf);

template <>
struct ValueCodec<IntfId> {
  static Value toValue(IntfId v) { return Value(v.name()); }
  static std::optional<IntfId> fromValue(const Value& v) {
    if (auto* s = v.as<std::string>()) return IntfId(*s);
    return std::nullopt;
  }
};

}  // namespace Platform

template <>
struct std::hash<Platform::IntfId> {
  std::size_t operator()(Platform::IntfId intf) const noexcept {
    return static_cast<std::size_t>(intf.value() * 0x9E3779B97F4A7C15u);
  }
};
