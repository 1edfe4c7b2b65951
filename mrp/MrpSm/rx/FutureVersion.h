#pragma once

#include "platform/Export.h"

namespace Mrp {

// Set while the PDU being processed has a protocol version above 0. One flag for the process:
// frames are handled one at a time, to completion.
MRP_API bool& rxFutureVersionPdu();

}  // namespace Mrp
