#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace Mrp {

// An unsigned number kept as its octets in wire order, most significant first. Alignment 1, so that
// a record of these is the wire image itself; reads and writes as the host number.
template <std::unsigned_integral T>
class BigEndian {
 public:
  constexpr BigEndian() = default;
  constexpr BigEndian(T number) : octets_(std::bit_cast<Octets>(swapped(number))) {}
  constexpr operator T() const { return swapped(std::bit_cast<T>(octets_)); }

 private:
  using Octets = std::array<std::uint8_t, sizeof(T)>;

  static constexpr T swapped(T number) {
    if constexpr (std::endian::native == std::endian::big || sizeof(T) == 1) {
      return number;
    } else if constexpr (sizeof(T) == 2) {
      return __builtin_bswap16(number);
    } else if constexpr (sizeof(T) == 4) {
      return __builtin_bswap32(number);
    } else {
      return __builtin_bswap64(number);
    }
  }

  Octets octets_{};
};

static_assert(sizeof(BigEndian<std::uint64_t>) == 8 && alignof(BigEndian<std::uint64_t>) == 1);

// A 16-bit number in the octets at an address.
inline std::uint16_t readU16(const std::uint8_t* from) {
  BigEndian<std::uint16_t> number;
  std::memcpy(&number, from, sizeof number);
  return number;
}
inline void writeU16(std::uint8_t* to, std::uint16_t number) {
  const BigEndian<std::uint16_t> octets = number;
  std::memcpy(to, &octets, sizeof octets);
}

}  // namespace Mrp
