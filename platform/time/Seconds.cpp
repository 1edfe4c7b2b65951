#include "platform/time/Seconds.h"

#include <ostream>

namespace Platform {

std::string Seconds::stringValue() const {
  constexpr std::uint64_t kSecond = 1'000'000'000;
  const bool negative = ns_ < 0;
  const auto number = static_cast<std::uint64_t>(ns_);
  const std::uint64_t magnitude = negative ? 0 - number : number;
  std::string text = (negative ? "-" : "") + std::to_string(magnitude / kSecond);
  if (const std::uint64_t fraction = magnitude % kSecond; fraction != 0) {
    text += '.' + std::to_string(kSecond + fraction).substr(1);
    text.erase(text.find_last_not_of('0') + 1);
  }
  return text;
}

std::ostream& operator<<(std::ostream& out, Seconds seconds) {
  return out << seconds.stringValue();
}

}  // namespace Platform
