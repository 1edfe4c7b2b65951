#include "mrp/types/MrpCounters.h"

#include <array>

namespace Mrp {

std::span<const Platform::AttributeInfo> MrpCounters::attributeTable() {
  using A = MrpCounters;
#define MRP_COUNTER(name) Platform::attribute<A, &A::name, &A::name##Is>(#name)
  static constexpr std::array table{
      MRP_COUNTER(numOfPktsProcessed),       MRP_COUNTER(numOfPktsTransmitted),
      MRP_COUNTER(numOfIncorrectDmac),       MRP_COUNTER(numOfIncorrectEtype),
      MRP_COUNTER(numOfIncorrectPduVersion), MRP_COUNTER(numOfMalformedPkts),
      MRP_COUNTER(numOfUnknownApplication),  MRP_COUNTER(numOfUnknownAttributeType),
      MRP_COUNTER(numOfJoinIndications),     MRP_COUNTER(numOfLeaveIndications),
      MRP_COUNTER(numOfRefusedEvents),
  };
#undef MRP_COUNTER
  return table;
}

}  // namespace Mrp
