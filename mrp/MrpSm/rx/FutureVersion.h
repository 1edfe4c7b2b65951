#pragma once

namespace Mrp {

// Set while the PDU being processed has a protocol version above 0. One flag for the process:
// frames are handled one at a time, to completion.
inline bool& rxFutureVersionPdu() {
  static bool flag = false;
  return flag;
}

}  // namespace Mrp
