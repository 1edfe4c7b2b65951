#include "mrp/types/MrpAttrDatabase.h"

#include <algorithm>

#include "mrp/types/AttrTable.h"

namespace Mrp {

void MrpAttrDatabase::attributeValueIs(ValueIndex index, std::uint8_t octet) {
  const std::size_t i = index.value();
  if (i >= valueRoom()) ValueIndex::refuse();
  for (std::size_t gap = valueSize_; gap < i; ++gap) octets()[gap] = 0;
  octets()[i] = octet;
  valueSize_ = std::max(valueSize_, static_cast<std::uint8_t>(i + 1));
}

void MrpAttrDatabase::valueOctetsIs(const std::vector<std::uint8_t>& octets) {
  if (octets.size() > valueRoom()) ValueIndex::refuse();
  valueIs(octets);
}

void MrpAttrDatabase::onlyDeclaredChanged() { AttrTable::onlyDeclaredChanged(*this); }

std::span<const Platform::AttributeInfo> MrpAttrDatabase::attributeTable() {
  using A = MrpAttrDatabase;
  static constexpr std::array table{
      Platform::readOnlyAttribute<A, &A::attributeKey>("attributeKey"),
      Platform::attribute<A, &A::applicantState, &A::applicantStateIs>("applicantState"),
      Platform::attribute<A, &A::registrarState, &A::registrarStateIs>("registrarState"),
      Platform::attribute<A, &A::valueOctets, &A::valueOctetsIs>("attributeValue"),
  };
  return table;
}

}  // namespace Mrp
