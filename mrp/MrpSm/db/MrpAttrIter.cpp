#include "mrp/MrpSm/db/MrpAttrIter.h"

#include <charconv>
#include <cstring>
#include <ostream>
#include <string>

namespace Mrp {
namespace {

constexpr std::string_view kHead = "Value('Mrp::MrpAttrIter::Key', ** {'intfId': ";
constexpr std::string_view kMiddle = ", 'attributeType': ";
constexpr std::string_view kTail = "})";

}  // namespace

std::uint32_t MrpAttrIter::Key::hash() const {
  std::uint8_t octets[9];
  const std::uint64_t value = intfId.value();
  std::memcpy(octets, &value, sizeof value);
  octets[8] = attributeType;
  std::uint32_t h = 0;
  for (std::uint8_t octet : octets) {
    h += octet;
    h += h << 10;
    h ^= h >> 6;
  }
  h += h << 3;
  h ^= h >> 11;
  h += h << 15;
  return h;
}

std::ostream& operator<<(std::ostream& out, const MrpAttrIter::Key& key) {
  return out << kHead << key.intfId << kMiddle << +key.attributeType << kTail;
}

std::optional<MrpAttrIter::Key> MrpAttrIter::Key::parse(std::string_view text) {
  if (!text.starts_with(kHead) || !text.ends_with(kTail)) return std::nullopt;
  const std::string_view fields =
      text.substr(kHead.size(), text.size() - kHead.size() - kTail.size());
  const std::size_t middle = fields.rfind(kMiddle);
  if (middle == std::string_view::npos) return std::nullopt;
  const std::string_view number = fields.substr(middle + kMiddle.size());
  Key key;
  const auto [end, error] =
      std::from_chars(number.data(), number.data() + number.size(), key.attributeType);
  if (error != std::errc{} || end != number.data() + number.size()) return std::nullopt;
  if (number != std::to_string(key.attributeType)) return std::nullopt;
  key.intfId = IntfId(fields.substr(0, middle));
  return key;
}

}  // namespace Mrp
