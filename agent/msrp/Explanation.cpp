// The decisions told step by step: the same tables and the same order as deciding goes by.

#include "agent/msrp/Explanation.h"

#include <string_view>

#include "agent/msrp/Checks.h"
#include "agent/msrp/StreamPropagation.h"

namespace Mrp::Streams {
namespace {

std::string text(std::uint64_t number) { return std::to_string(number); }
std::string className(SrClass c) { return c == SrClass::a ? "A" : "B"; }

std::string priorityOf(const Port& port, SrClass c) {
  const auto& domain = port.domain[indexOf(c)];
  return domain ? "priority " + text(*domain) : "no domain";
}

// What a check compared. `c.out` is null where it concerns the whole bridge.
std::string numbersOf(FailureCode usual, const CheckedStream& c, bool onPort) {
  const auto srClass = srClassOfPriority(c.talker.priorityAndRank.priority());
  switch (usual) {
    case FailureCode::addressInUse:
      return "VLAN " + text(c.talker.frame.vlanId) + ", " + c.talker.frame.dmac.stringValue();
    case FailureCode::firstValueChanged:
      return c.stream.changedAt == Seconds::never()
                 ? std::string()
                 : "changed at " + c.stream.changedAt.stringValue() + " s";
    case FailureCode::priorityOfNoClass:
      return "priority " + text(c.talker.priorityAndRank.priority());
    case FailureCode::notCapable:
    case FailureCode::priorityMismatch: {
      const Port* port = onPort ? c.out : c.stream.in;
      if (!srClass || !port) return {};
      return "class " + className(*srClass) + ": ours priority " + text(infoOf(*srClass).priority) +
             ", the neighbour of " + port->intf.name() + " says " + priorityOf(*port, *srClass) +
             (port->settings.capable ? "" : "; the port is not capable of streams");
    }
    case FailureCode::vlanBlocked:
    case FailureCode::taggingDisabled:
      return "VLAN " + text(c.talker.frame.vlanId);
    case FailureCode::frameTooLarge:
      return text(c.talker.tSpec.maxFrameSize) + " octets, " + text(c.out->settings.maxPayload) +
             " allowed";
    case FailureCode::latencyChanged:
      return !c.fate->hasLatency ? std::string()
                                 : text(latencyOf(c.stream, c.out->settings)) + " ns now, " +
                                       text(firstLatency(c.stream, *c.out)) + " ns at first";
    default:
      return {};
  }
}

std::string remedyOf(std::uint8_t code, const Stream& stream, const Port& port, bool upstream) {
  const MsrpTalkerAdvertiseAttribute& talker = stream.talker()->talker();
  const std::string on = port.intf.name();
  const std::string in = stream.in->intf.name();
  const auto srClass = srClassOfPriority(talker.priorityAndRank.priority());
  const std::string vlan = text(talker.frame.vlanId);
  switch (static_cast<FailureCode>(code)) {
    case FailureCode::streamResources:
      return "withdraw other streams, or raise the bridge's limit of streams";
    case FailureCode::addressInUse:
      return "give the stream another destination address than " + talker.frame.dmac.stringValue() +
             " in VLAN " + vlan;
    case FailureCode::firstValueChanged:
      return "withdraw the stream at its talker and advertise it anew, or leave it unchanged until "
             "it counts as new";
    case FailureCode::priorityOfNoClass:
      return "let the talker use priority 3 (class A) or 2 (class B): it says " +
             text(talker.priorityAndRank.priority());
    case FailureCode::priorityMismatch: {
      const Port& at = upstream ? *stream.in : port;
      if (!srClass) return {};
      return "declare class " + className(*srClass) + " priority " +
             text(infoOf(*srClass).priority) + " on the neighbour of " + at.intf.name() +
             ": it says " + text(at.domain[indexOf(*srClass)].value_or(0));
    }
    case FailureCode::notCapable: {
      const Port& at = upstream ? *stream.in : port;
      if (!at.settings.capable) {
        return "make " + at.intf.name() +
               " capable of streams: full duplex, 100 Mb/s or more, synchronised time";
      }
      return "let the neighbour of " + at.intf.name() + " run MSRP and declare class " +
             (srClass ? className(*srClass) : std::string("A")) + ": it declares none";
    }
    case FailureCode::fanInLimit:
      return "raise the fan-in limit: " + in + " would be one more in-port with reservations";
    case FailureCode::vlanBlocked:
      return "allow VLAN " + vlan + " on " + on + ": it is forbidden there";
    case FailureCode::taggingDisabled:
      return "let VLAN " + vlan + " leave " + on + " tagged: it is untagged there";
    case FailureCode::frameTooLarge:
      return "let the talker send at most " + text(port.settings.maxPayload) +
             " octets a frame: it says " + text(talker.tSpec.maxFrameSize);
    case FailureCode::latencyChanged:
      return "withdraw the stream at its talker and advertise it anew";
    case FailureCode::preempted:
      return "wait: it returns when the more important stream on " + on + " ends, or there is room";
    case FailureCode::bandwidth:
      return "withdraw other streams on " + on + ", send less, or use a faster port";
    case FailureCode::classBandwidth:
      return "let the talker use the other class, or give the class a larger share of " + on;
    case FailureCode::addressTableFull:
    case FailureCode::bridgeResources:
      return "withdraw other reservations: the switch has no room for this one";
    case FailureCode::useAnotherAddress:
      return "give the stream another destination address: the switch cannot store this one";
    default:
      return {};
  }
}

}  // namespace

std::string rateName(BitsPerSecond rate) {
  constexpr BitsPerSecond kMega = 1'000'000;
  std::string parts = std::to_string(kMega + rate % kMega).substr(1);
  parts.erase(parts.find_last_not_of('0') + 1);
  return std::to_string(rate / kMega) + (parts.empty() ? "" : "." + parts) + " Mb/s";
}

std::string bridgeName(std::uint64_t bridgeId) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string name;
  for (int shift = 60; shift >= 0; shift -= 4) {
    name += kDigits[bridgeId >> shift & 15];
    if (shift % 8 == 0 && shift > 0) name += ':';
  }
  return name;
}

std::optional<DomainState> StreamPropagation::domain(IntfId intf, SrClass srClass) const {
  const Port* port = find(intf);
  if (!port) return std::nullopt;
  return DomainState{port->open, port->settings.capable, port->boundaryOf(srClass),
                     infoOf(srClass).priority, port->domain[indexOf(srClass)]};
}

// Why a port declares nothing of a stream; empty if it does.
std::string StreamPropagation::whyNothing(const Stream& stream, const Port& port) const {
  const TalkerRegistration* t = stream.talker();
  const std::string on = port.intf.name();
  if (!t) {
    return stream.talkers.empty() ? "no port has its talker registered"
                                  : "its talker is registered where the port does not forward";
  }
  if (stream.in == &port) return on + " is its talker's port";
  if (!port.open) return on + " has no endpoint: it is down or disabled";
  const DataFrameParameters& frame = t->talker().frame;
  if (!port.forwards.has(frame.vlanId)) {
    return on + " does not forward VLAN " + std::to_string(frame.vlanId) +
           ": the spanning tree blocks it";
  }
  if (stream.on(&port)) {
    return "a second talker of it is registered on " + on + ", and waits for that of " +
           stream.in->intf.name() + " to leave";
  }
  return "talker pruning: its address is not registered on " + on;
}

Explanation StreamPropagation::explain(StreamId id, IntfId intf) const {
  Explanation explanation;
  const Stream* stream = find(id);
  const Port* port = find(intf);
  if (!stream || !port) {
    explanation.nothing = stream ? "the bridge has no port " + intf.name()
                                 : "neither a talker nor a listener of it is registered";
    return explanation;
  }
  if (outcome(*stream, *port).kind == TalkerKind::none) {
    explanation.nothing = whyNothing(*stream, *port);
    return explanation;
  }
  std::vector<DecisionStep>& steps = explanation.steps;
  const TalkerRegistration& talker = *stream->talker();
  const auto failed = [&](std::uint8_t code, bool upstream) {
    steps.back().passed = false;
    steps.back().code = code;
    explanation.remedy = remedyOf(code, *stream, *port, upstream);
  };
  steps.push_back({.name = "not failed upstream", .numbers = {}});
  if (talker.failed) {
    const auto& failure = talker.value.failureInformation;
    failed(failure.failureCode, true);
    steps.back().numbers = "bridge " + bridgeName(failure.bridgeId);
    explanation.remedy = "ask bridge " + bridgeName(failure.bridgeId) + ", where it failed";
    return explanation;
  }
  const Fate& fate = stream->fate(*port);
  const auto run = [&](std::span<const Check> checks, const CheckedStream& checked, bool onPort) {
    for (const Check& check : checks) {
      const FailureCode code = check.failure(checked);
      const FailureCode of = code == FailureCode::none ? check.code : code;
      steps.push_back({.name = check.name, .numbers = numbersOf(of, checked, onPort)});
      if (code == FailureCode::none) continue;
      failed(static_cast<std::uint8_t>(code), !onPort);
      return false;
    }
    return true;
  };
  if (!run(bridgeChecks(), {*stream, talker.talker(), forwarding_, nullptr, nullptr}, false) ||
      !run(portChecks(), {*stream, talker.talker(), forwarding_, port, &fate}, true)) {
    return explanation;
  }
  const Booking& b = stream->booked;
  const bool granted = fate.place() == Place::granted;
  const Available available = port->bandwidth.available(b.rank, *b.srClass);
  std::string numbers = "needs " + rateName(b.need);
  if (granted) {
    numbers += ", reserved; ";
  } else {
    numbers += ", " + rateName(available.ofClass) + " available; ";
  }
  const BitsPerSecond inUse =
      *b.srClass == SrClass::a ? port->bandwidth.reserved(SrClass::a) : port->bandwidth.reserved();
  numbers += rateName(inUse) + " of " + rateName(port->bandwidth.limit(*b.srClass)) + " in use";
  steps.push_back({.name = "bandwidth", .numbers = numbers});
  const FailureCode excess = granted ? FailureCode::none : available.excess(b.need);
  const Standing end = outcome(*stream, *port);
  if (excess != FailureCode::none) {
    failed(static_cast<std::uint8_t>(end.code), false);
    return explanation;
  }
  if (!fate.wanted()) return explanation;
  steps.push_back({.name = "entry of the switch", .numbers = {}});
  if (end.kind == TalkerKind::failed) failed(static_cast<std::uint8_t>(end.code), false);
  return explanation;
}

}  // namespace Mrp::Streams
