#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/reactor/Attributes.h"

namespace Platform {

// 48-bit MAC address in wire octet order. Text form "91:e0:f0:00:fe:01", hexadecimal digits of
// either case when parsed.
class MRP_API EthAddr {
 public:
  constexpr EthAddr() = default;
  constexpr explicit EthAddr(const std::array<std::uint8_t, 6>& octets) : octets_(octets) {}
  // The low 48 bits of `number`, most significant octet first.
  static constexpr EthAddr fromNumber(std::uint64_t number) {
    const auto octet = [number](int shift) { return static_cast<std::uint8_t>(number >> shift); };
    return EthAddr({octet(40), octet(32), octet(24), octet(16), octet(8), octet(0)});
  }
  static std::optional<EthAddr> parse(std::string_view text);

  constexpr std::uint64_t number() const {
    const auto& o = octets_;
    return std::uint64_t{o[0]} << 40 | std::uint64_t{o[1]} << 32 | std::uint64_t{o[2]} << 24 |
           std::uint64_t{o[3]} << 16 | std::uint64_t{o[4]} << 8 | std::uint64_t{o[5]};
  }
  const std::array<std::uint8_t, 6>& octets() const { return octets_; }
  const std::uint8_t* data() const { return octets_.data(); }
  std::string stringValue() const;

  friend constexpr auto operator<=>(const EthAddr&, const EthAddr&) = default;

 private:
  std::array<std::uint8_t, 6> octets_{};
};

MRP_API std::ostream& operator<<(std::ostream& out, const EthAddr& address);

template <>
struct ValueCodec<EthAddr> {
  static Value toValue(const EthAddr& v) { return Value(v.stringValue()); }
  static std::optional<EthAddr> fromValue(const Value& v) {
    auto* s = v.as<std::string>();
    return s ? EthAddr::parse(*s) : std::nullopt;
  }
};

}  // namespace Platform
