#include "mrp/types/MrpParseContext.h"

#include <array>

namespace Mrp {

std::span<const Platform::AttributeInfo> MrpParseContext::attributeTable() {
  using A = MrpParseContext;
#define MRP_FIELD(name) Platform::attribute<A, &A::name, &A::name##Is>(#name)
  static constexpr std::array table{
      MRP_FIELD(intfId),
      MRP_FIELD(attributeType),
      MRP_FIELD(attributeLength),
      MRP_FIELD(attributeEvent),
      MRP_FIELD(attributeKey),
      MRP_FIELD(numberOfValues),
      MRP_FIELD(attributeListBytesLeft),
      MRP_FIELD(eventsCounter),
      MRP_FIELD(leaveAll),
      MRP_FIELD(sendTxLvAll),
  };
#undef MRP_FIELD
  return table;
}

}  // namespace Mrp
