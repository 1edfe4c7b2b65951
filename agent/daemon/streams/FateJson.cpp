#include "agent/daemon/streams/FateJson.h"

#include <algorithm>

#include "agent/daemon/FailureCodes.h"
#include "agent/daemon/Methods.h"
#include "agent/daemon/Values.h"

namespace Daemon {
namespace {

using Mrp::TalkerKind;
using Rpc::Json;

Json eventJson(Mrp::MsrpListenerEvent event) {
  return event == Mrp::MsrpListenerEvent::ignore ? Json() : Json(listenerText(event));
}

Json declaredJson(TalkerKind kind) {
  if (kind == TalkerKind::none) return nullptr;
  return kind == TalkerKind::failed ? "failed" : "advertise";
}

Json classJson(const Mrp::StreamState& stream) {
  return stream.srClass ? Json(static_cast<int>(*stream.srClass)) : Json();
}

// On the port that the stream comes in by.
Json inwardJson(const Mrp::StreamState& stream) {
  return {{"inward", true},
          {"srClassId", classJson(stream)},
          {"needed", stream.srClass ? Json(stream.need) : Json()},
          {"merged", eventJson(stream.merged)}};
}

Json outwardJson(const Agent& agent, const Mrp::StreamState& stream,
                 const Mrp::StreamPortState& port) {
  const bool failed = port.declared == TalkerKind::failed;
  const bool measured = stream.srClass.has_value();
  const auto bits = [&](Mrp::BitsPerSecond number) { return measured ? Json(number) : Json(); };
  const bool recovers = failed && stream.recoversAt != Platform::Seconds::never();
  return {
      {"inward", false},
      {"declared", declaredJson(port.declared)},
      {"failureCode", failed ? Json(port.code) : Json()},
      {"failure", failed ? Json(failureText(port.code)) : Json()},
      {"bridgeId", failed ? Json(streamIdText(port.bridgeId)) : Json()},
      {"recoversIn",
       recovers ? Json(std::max(0.0, (stream.recoversAt - agent.now()).value())) : Json()},
      {"latency", port.declared == TalkerKind::none ? Json() : Json(port.latency)},
      {"listener", eventJson(port.listener)},
      {"reserved", port.reserved},
      {"srClassId", classJson(stream)},
      {"needed", bits(stream.need)},
      {"allowed", bits(port.allowed)},
      {"inUse", bits(port.inUse)},
      {"left", bits(port.left)},
  };
}

}  // namespace

const char* listenerText(Mrp::MsrpListenerEvent event) {
  switch (event) {
    case Mrp::MsrpListenerEvent::ready:
      return "ready";
    case Mrp::MsrpListenerEvent::readyFailed:
      return "ready-failed";
    case Mrp::MsrpListenerEvent::askingFailed:
      return "asking-failed";
    case Mrp::MsrpListenerEvent::ignore:
      break;
  }
  return "ignore";
}

std::map<std::uint64_t, Json> fatesJson(const Agent& agent, IntfId intf) {
  std::map<std::uint64_t, Json> fates;
  const auto* const propagation = agent.streams();
  if (!propagation) return fates;
  for (const Mrp::StreamState& stream : propagation->streams()) {
    if (stream.talker == intf) {
      fates[stream.id] = inwardJson(stream);
      continue;
    }
    const auto port = std::ranges::find(stream.ports, intf, &Mrp::StreamPortState::intf);
    if (port == stream.ports.end()) continue;
    if (port->declared == TalkerKind::none && port->listener == Mrp::MsrpListenerEvent::ignore) {
      continue;
    }
    fates[stream.id] = outwardJson(agent, stream, *port);
  }
  return fates;
}

Json boundariesJson(const Agent& agent, IntfId intf) {
  const auto* const propagation = agent.streams();
  if (!propagation) return nullptr;
  Json classes = Json::array();
  for (const Mrp::BandwidthState& state : propagation->bandwidths()) {
    if (state.intf == intf && state.boundary) classes.push_back(static_cast<int>(state.srClass));
  }
  return classes;
}

Json callBandwidth(const Call& call) {
  const std::string only = call.params.port();
  call.params.instanceOf(Mrp::MrpApplication::msrp);
  Json rows = Json::array();
  const auto* const propagation = call.agent().streams();
  if (!propagation) return rows;
  for (const Mrp::BandwidthState& state : propagation->bandwidths()) {
    if (!only.empty() && state.intf.name() != only) continue;
    const auto shaper = call.agent().streamProgram().shaper(state.intf, state.srClass);
    rows.push_back({{"port", state.intf.name()},
                    {"srClassId", static_cast<int>(state.srClass)},
                    {"rate", state.rate},
                    {"delta", state.delta},
                    {"limit", state.limit},
                    {"reserved", state.reserved},
                    {"left", state.left},
                    {"idleSlope", state.slope},
                    {"boundary", state.boundary},
                    {"shaper", shaper ? Json{{"idleSlope", shaper->idleSlope},
                                             {"sendSlope", shaper->sendSlope},
                                             {"hiCredit", shaper->hiCredit},
                                             {"loCredit", shaper->loCredit}}
                                      : Json()}});
  }
  return rows;
}

}  // namespace Daemon
