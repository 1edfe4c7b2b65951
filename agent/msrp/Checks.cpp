#include "agent/msrp/Checks.h"

#include <array>

namespace Mrp::Streams {
namespace {

using enum FailureCode;
using Checked = const CheckedStream&;

constexpr FailureCode unless(bool passes, FailureCode code) { return passes ? none : code; }

// --- The whole bridge ----------------------------------------------------------------------------

FailureCode kept(Checked c) { return unless(c.stream.kept, streamResources); }

FailureCode ownAddress(Checked c) { return unless(c.stream.ownsAddress, addressInUse); }

FailureCode sameFirstValue(Checked c) {
  return unless(c.stream.changedAt == Seconds::never(), firstValueChanged);
}

FailureCode priorityOfClass(Checked c) {
  return unless(srClassOfPriority(c.talker.priorityAndRank.priority()).has_value(),
                priorityOfNoClass);
}

FailureCode insideDomain(Checked c) {
  const SrClass srClass = *srClassOfPriority(c.talker.priorityAndRank.priority());
  if (!c.stream.in->boundaryOf(srClass)) return none;
  return c.stream.in->mismatch(srClass) ? priorityMismatch : notCapable;
}

FailureCode fanIn(Checked c) { return unless(!c.stream.fanBlocked, fanInLimit); }

constexpr std::array kBridgeChecks{
    Check{"kept streams", "", streamResources, kept},
    Check{"address of its own", "35.2.2.8.7", addressInUse, ownAddress},
    Check{"FirstValue unchanged", "35.2.2.8.7", firstValueChanged, sameFirstValue},
    Check{"priority of a class", "35.2.2.8.5", priorityOfNoClass, priorityOfClass},
    Check{"talker inside the domain", "35.1.4", notCapable, insideDomain},
    Check{"fan-in", "35.2.1.4", fanInLimit, fanIn},
};

// --- One port ------------------------------------------------------------------------------------

SrClass classOf(Checked c) { return *c.stream.booked.srClass; }
Platform::VlanId vlanOf(Checked c) { return Platform::VlanId(c.talker.frame.vlanId); }
VlanEgress egress(Checked c) { return c.forwarding.vlanEgress(c.out->intf, vlanOf(c)); }

FailureCode capable(Checked c) {
  return unless(c.out->settings.capable && c.out->domain[indexOf(classOf(c))], notCapable);
}
FailureCode samePriority(Checked c) {
  return unless(!c.out->mismatch(classOf(c)), priorityMismatch);
}
FailureCode vlanAllowed(Checked c) {
  return unless(egress(c) != VlanEgress::forbidden, vlanBlocked);
}
FailureCode vlanTagged(Checked c) {
  return unless(egress(c) != VlanEgress::untagged, taggingDisabled);
}
FailureCode frameFits(Checked c) {
  return unless(c.talker.tSpec.maxFrameSize <= c.out->settings.maxPayload, frameTooLarge);
}
FailureCode sameLatency(Checked c) {
  const bool risen =
      c.fate->hasLatency && latencyOf(c.stream, c.out->settings) > firstLatency(c.stream, *c.out);
  return unless(!risen, latencyChanged);
}

constexpr std::array kPortChecks{
    Check{"port inside the domain", "35.1.4", notCapable, capable},
    Check{"priority of the domain", "35.2.2.9.3", priorityMismatch, samePriority},
    Check{"VLAN allowed", "8.8.10", vlanBlocked, vlanAllowed},
    Check{"VLAN tagged", "8.8.10", taggingDisabled, vlanTagged},
    Check{"largest frame", "35.2.2.8.4", frameTooLarge, frameFits},
    Check{"latency as declared first", "35.2.2.8.6", latencyChanged, sameLatency},
};

}  // namespace

std::span<const Check> bridgeChecks() { return kBridgeChecks; }
std::span<const Check> portChecks() { return kPortChecks; }

FailureCode firstFailure(std::span<const Check> checks, const CheckedStream& checked) {
  for (const Check& check : checks) {
    const FailureCode code = check.failure(checked);
    if (code != none) return code;
  }
  return none;
}

std::uint32_t latencyOf(std::optional<SrClass> srClass, const StreamPort& port) {
  return srClass ? port.ofClass[indexOf(*srClass)].maxLatency : 0;
}

std::uint32_t latencyOf(const Stream& stream, const StreamPort& port) {
  return latencyOf(stream.booked.srClass, port);
}

std::uint32_t firstLatency(const Stream& stream, const Port& port) {
  return port.firstLatencies.empty() ? latencyOf(stream, port.settings)
                                     : port.firstLatencies[stream.number];
}

}  // namespace Mrp::Streams
