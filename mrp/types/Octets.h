#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Mrp {

// Copying and comparing of values whose size is known at run time only. Most values are VLAN
// identifiers: their two octets are worth a branch, against the call that any other size takes.
inline void copyOctets(std::uint8_t* to, const std::uint8_t* from, std::size_t n) {
  if (n == 2) [[likely]] {
    std::memcpy(to, from, 2);
  } else if (n > 0) {
    std::memcpy(to, from, n);
  }
}

inline bool sameOctets(const std::uint8_t* a, const std::uint8_t* b, std::size_t n) {
  if (n == 2) return std::memcmp(a, b, 2) == 0;
  return n == 0 || std::memcmp(a, b, n) == 0;
}

}  // namespace Mrp
