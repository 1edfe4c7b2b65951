#include "agent/daemon/Values.h"

#include <string_view>

namespace Daemon {

std::uint64_t keyOfImage(Mrp::MrpApplication application, std::uint8_t type,
                         std::span<const std::uint8_t> image) {
  const bool domain = type == static_cast<std::uint8_t>(Mrp::MsrpAttrType::domain);
  const std::size_t octets = application == Mrp::MrpApplication::mvrp ? 2 : domain ? 1 : 8;
  std::uint64_t key = 0;
  for (std::size_t i = 0; i < octets && i < image.size(); ++i) key = key << 8 | image[i];
  return key;
}

std::string streamIdText(std::uint64_t number) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text(16, '0');
  for (std::size_t i = text.size(); i-- > 0; number >>= 4) text[i] = kDigits[number & 15];
  return text;
}

}  // namespace Daemon
