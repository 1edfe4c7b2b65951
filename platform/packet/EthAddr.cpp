#include "platform/packet/EthAddr.h"

#include <charconv>

namespace Platform {

std::optional<EthAddr> EthAddr::parse(std::string_view text) {
  std::array<std::uint8_t, 6> octets{};
  if (text.size() != 17) return std::nullopt;
  for (std::size_t i = 0; i < 6; ++i) {
    const char* digits = text.data() + 3 * i;
    auto [end, error] = std::from_chars(digits, digits + 2, octets[i], 16);
    if (error != std::errc{} || end != digits + 2) return std::nullopt;
    if (i < 5 && digits[2] != ':') return std::nullopt;
  }
  return EthAddr(octets);
}

std::string EthAddr::stringValue() const {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::uint8_t octet : octets_) {
    if (!text.empty()) text += ':';
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}

std::ostream& operator<<(std::ostream& out, const EthAddr& address) {
  return out << address.stringValue();
}

}  // namespace Platform
