#include "mrp/MrpMvrp/MvrpFirstValue.h"

namespace Mrp {

void traceVlanVector(const MvrpVlanAttribute& value, Platform::Trace& trace) {
  MRP_TRACE(trace, 8, " Vlan vector = " << value);
}

bool parseVlan(Platform::PktReader& reader, MvrpVlanAttribute& value) {
  return reader.octets(&value, sizeof value);
}

}  // namespace Mrp
