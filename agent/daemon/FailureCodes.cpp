#include "agent/daemon/FailureCodes.h"

#include <array>

namespace Daemon {

const char* failureText(std::uint8_t code) {
  static constexpr std::array kTexts{
      "none",
      "not enough bandwidth",
      "not enough bridge resources",
      "not enough bandwidth for the traffic class",
      "stream ID in use by another talker",
      "stream destination address in use",
      "preempted by a stream of higher rank",
      "reported latency has changed",
      "egress port is not AVB capable",
      "use a different destination address",
      "out of MSRP resources",
      "out of MMRP resources",
      "cannot store the destination address",
      "priority is not that of an SR class",
      "frames too large for the medium",
      "limit of fan-in ports reached",
      "FirstValue changed for a registered stream",
      "VLAN blocked on the egress port",
      "VLAN tagging disabled on the egress port",
      "SR class priority mismatch",
  };
  return code < kTexts.size() ? kTexts[code] : "unknown";
}

}  // namespace Daemon
