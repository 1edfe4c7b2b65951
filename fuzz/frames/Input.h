#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Fuzz {

using OctetSpan = std::span<const std::uint8_t>;

// The input of one run, taken from its head. Reads 0 past the end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  bool empty() const { return rest_.empty(); }
  unsigned octet() {
    const OctetSpan one = take(1);
    return one.empty() ? 0 : one[0];
  }
  OctetSpan take(std::size_t n) {
    const OctetSpan taken = rest_.first(std::min(n, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

 private:
  OctetSpan rest_;
};

}  // namespace Fuzz
