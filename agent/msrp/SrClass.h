#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace Mrp {

// SR class, by the number that domains carry (IEEE 802.1Q-2018 35.2.2.9.2).
enum class SrClass : std::uint8_t { b = 5, a = 6 };

// What a bridge declares of a class on every port (table 6-5 and 35.2.2.9), and how many of its
// measurement intervals a second has (34.6.1).
struct SrClassInfo {
  SrClass id;
  std::uint8_t priority;
  std::uint16_t vid;
  std::uint32_t intervalsPerSecond;
};

inline constexpr std::size_t kSrClasses = 2;
// The more demanding class first: tables by class follow this order.
inline constexpr std::array<SrClassInfo, kSrClasses> kSrClassTable{{
    {SrClass::a, 3, 2, 8000},
    {SrClass::b, 2, 2, 4000},
}};

constexpr std::size_t indexOf(SrClass c) { return c == SrClass::a ? 0 : 1; }
constexpr const SrClassInfo& infoOf(SrClass c) { return kSrClassTable[indexOf(c)]; }

constexpr std::optional<SrClass> srClassNumbered(std::uint64_t id) {
  for (const SrClassInfo& info : kSrClassTable) {
    if (static_cast<std::uint64_t>(info.id) == id) return info.id;
  }
  return std::nullopt;
}
// The class whose frames have this priority, if any has.
constexpr std::optional<SrClass> srClassOfPriority(std::uint8_t priority) {
  for (const SrClassInfo& info : kSrClassTable) {
    if (info.priority == priority) return info.id;
  }
  return std::nullopt;
}

}  // namespace Mrp
