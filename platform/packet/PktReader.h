#pragma once

#include <optional>

#include "platform/packet/Pkt.h"

namespace Platform {

// Bounds-checked reading from the head of a packet. What is read is consumed; a read that the
// packet cannot satisfy consumes nothing and gives nothing. Numbers are big-endian.
class PktReader {
 public:
  explicit PktReader(Pkt& pkt) : pkt_(pkt) {}

  std::size_t left() const { return pkt_.size(); }

  std::optional<std::uint8_t> u8() {
    if (left() < 1) return std::nullopt;
    const std::uint8_t value = pkt_.data()[0];
    pkt_.headDel(1);
    return value;
  }
  std::optional<std::uint16_t> u16() {
    auto value = peekU16();
    if (value) pkt_.headDel(2);
    return value;
  }
  std::optional<std::uint16_t> peekU16() const {
    if (left() < 2) return std::nullopt;
    return static_cast<std::uint16_t>(pkt_.data()[0] << 8 | pkt_.data()[1]);
  }
  // Copies `n` octets to `to`; false when fewer are left.
  bool octets(void* to, std::size_t n) {
    if (left() < n) return false;
    std::memcpy(to, pkt_.data(), n);
    pkt_.headDel(n);
    return true;
  }
  // Drops up to `n` octets.
  void skip(std::size_t n) { pkt_.headDel(n); }
  // The next `n` octets, unconsumed; empty when fewer are left.
  std::span<const std::uint8_t> peek(std::size_t n) const {
    return left() < n ? std::span<const std::uint8_t>{} : pkt_.octets().first(n);
  }

 private:
  Pkt& pkt_;
};

}  // namespace Platform
