#include "agent/msrp/FailureCode.h"

#include <array>

namespace Mrp {
namespace {

constexpr std::array<const char*, 26> kTexts{
    nullptr,
    "insufficient bandwidth",
    "insufficient bridge resources",
    "insufficient bandwidth for the traffic class",
    "stream ID in use by another talker",
    "destination address in use by another stream",
    "pre-empted by a stream of higher rank",
    "reported latency has changed",
    "egress port is not AVB capable",
    "use another destination address",
    "out of MSRP resources",
    "out of MMRP resources",
    "cannot store the destination address",
    "requested priority is not an SR class priority",
    "MaxFrameSize is too large for the medium",
    "fan-in limit reached",
    "change in FirstValue of a registered stream",
    "VLAN is blocked on the egress port",
    "VLAN tagging is disabled on the egress port",
    "SR class priority mismatch",
    "enhanced feature cannot be propagated",
    "MaxLatency exceeded",
    "nearest bridge cannot provide a network identification",
    "stream transformation not supported",
    "stream identification type not supported",
    "enhanced feature needs a central network configuration",
};

}  // namespace

const char* failureText(std::uint8_t code) { return code < kTexts.size() ? kTexts[code] : nullptr; }

}  // namespace Mrp
