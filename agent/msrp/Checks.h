#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "agent/msrp/FailureCode.h"
#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// A stream as the checks see it. `out` and `fate` are null for checks that concern the whole
// bridge.
struct CheckedStream {
  const Stream& stream;
  const MsrpTalkerAdvertiseAttribute& talker;
  const StreamForwarding& forwarding;
  const Port* out;
  const Fate* fate;
};

// One condition of a Talker Failed; the first that fails decides.
struct Check {
  const char* name;
  const char* clause;  // of IEEE 802.1Q-2018; empty where the condition is this bridge's own
  FailureCode code;    // the usual one
  // The code if it fails, none if it passes.
  FailureCode (*failure)(const CheckedStream& checked);
};

// What lies upstream first, then what concerns the whole bridge, then what no waiting can cure on
// this port. What the switch and the bandwidth have to say comes after all of them, see
// StreamPropagation.
std::span<const Check> bridgeChecks();
std::span<const Check> portChecks();

// Code of the first that fails; none when all pass.
FailureCode firstFailure(std::span<const Check> checks, const CheckedStream& checked);

// What a port adds to the latency of a stream, nanoseconds: now, and when it first declared it.
std::uint32_t latencyOf(std::optional<SrClass> srClass, const StreamPort& port);
std::uint32_t latencyOf(const Stream& stream, const StreamPort& port);
std::uint32_t firstLatency(const Stream& stream, const Port& port);

}  // namespace Mrp::Streams
