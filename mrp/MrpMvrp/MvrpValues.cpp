#include "mrp/MrpMvrp/MvrpValues.h"

namespace Mrp {

std::string stringValue(const MvrpVlanAttribute& value) { return std::to_string(value.vlanId); }

std::optional<MvrpVlanAttribute> parseMvrpVlanAttribute(std::string_view text) {
  return parseExactly<MvrpVlanAttribute>(text, [](TextReader& from, MvrpVlanAttribute& value) {
    auto number = from.number(0xFFFF);
    value.vlanId = static_cast<std::uint16_t>(number.value_or(0));
    return number.has_value();
  });
}

}  // namespace Mrp
