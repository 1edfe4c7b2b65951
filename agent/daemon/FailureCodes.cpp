#include "agent/daemon/FailureCodes.h"

#include "agent/msrp/FailureCode.h"

namespace Daemon {

const char* failureText(std::uint8_t code) {
  const char* const text = Mrp::failureText(code);
  return text ? text : "unknown";
}

}  // namespace Daemon
