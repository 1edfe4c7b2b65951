#include "mrp/types/MrpAttribute.h"

namespace Mrp {

std::ostream& operator<<(std::ostream& out, const MrpAttribute& attribute) {
  return out << '{' << attribute.intfId << ' ' << std::to_string(attribute.attributeType) << ' '
             << hexStr(attribute.attributeKey) << '}';
}

std::ostream& operator<<(std::ostream& out, const MrpLeaveAllKey& key) {
  return out << '{' << key.intfId << ' ' << std::to_string(key.attributeType) << '}';
}

std::ostream& operator<<(std::ostream& out, const MrpParameters& parameters) {
  return out << '{' << parameters.intfId << ' ' << std::to_string(parameters.attributeType) << ' '
             << std::to_string(parameters.attributeEvent) << '}';
}

void ValueIndex::refuse() {
  throw std::range_error("ValueIndex::value < ValueIndex::min or > ValueIndex::max not allowed");
}

std::string hexStr(std::uint64_t key) { return std::to_string(static_cast<std::int64_t>(key)); }

}  // namespace Mrp
