#include "cli/replay/BridgeJson.h"

#include <array>
#include <iomanip>
#include <sstream>

namespace Cli {
namespace {

using Json = nlohmann::ordered_json;
using Mrp::TalkerKind;

Json named(Mrp::MsrpListenerEvent event) {
  static constexpr std::array<const char*, 4> kNames{"", "asking-failed", "ready", "ready-failed"};
  if (event == Mrp::MsrpListenerEvent::ignore) return nullptr;
  return kNames[static_cast<std::size_t>(event)];
}

Json vlansJson(const Mrp::VlanSet& vlans) {
  Json json = Json::array();
  vlans.walk([&](std::uint16_t vlan) { json.push_back(vlan); });
  return json;
}

template <class State>
Json listJson(const std::vector<State>& states) {
  Json json = Json::array();
  for (const State& state : states) json.push_back(bridgeJson(state));
  return json;
}

Json portJson(const Mrp::StreamPortState& port) {
  const bool declared = port.declared != TalkerKind::none;
  const bool failed = port.declared == TalkerKind::failed;
  return {{"port", port.intf.name()},
          {"declared", failed     ? Json("failed")
                       : declared ? Json("advertise")
                                  : Json()},
          {"code", failed ? Json(port.code) : Json()},
          {"latency", declared ? Json(port.latency) : Json()},
          {"listener", named(port.listener)},
          {"reserved", port.reserved}};
}

Json bridgeJson(const Mrp::StreamState& stream) {
  std::ostringstream id;
  id << std::hex << std::setw(16) << std::setfill('0') << stream.id;
  Json ports = Json::array();
  for (const Mrp::StreamPortState& port : stream.ports) ports.push_back(portJson(port));
  return {{"streamId", id.str()},
          {"talker", stream.talker ? Json(stream.talker->name()) : Json()},
          {"ports", std::move(ports)},
          {"merged", named(stream.merged)}};
}

Json stateJson(std::monostate) { return nullptr; }

Json stateJson(const MvrpBridgeState& state) {
  Json ports = Json::array();
  for (const VlanPortState& port : state.ports) {
    ports.push_back({{"port", port.port},
                     {"registered", vlansJson(port.registered)},
                     {"declared", vlansJson(port.declared)},
                     {"contributes", vlansJson(port.contributes)}});
  }
  return {{"ports", std::move(ports)}};
}

Json stateJson(const MsrpBridgeState& state) {
  Json streams = Json::array();
  for (const Mrp::StreamState& stream : state.streams) streams.push_back(bridgeJson(stream));
  return {{"reservations", listJson(state.reservations)},
          {"slopes", listJson(state.slopes)},
          {"boundaries", listJson(state.boundaries)},
          {"streams", std::move(streams)}};
}

}  // namespace

Json bridgeJson(const Mrp::ReservationState& state) {
  Json ports = Json::array();
  for (const Platform::IntfId intf : state.ports) ports.push_back(intf.name());
  return {{"vlan", state.vlan}, {"dmac", state.address.stringValue()}, {"ports", std::move(ports)}};
}

Json bridgeJson(const Mrp::SlopeState& state) {
  return {{"port", state.intf.name()},
          {"class", static_cast<int>(state.srClass)},
          {"bps", state.slope}};
}

Json bridgeJson(const Mrp::BoundaryState& state) {
  return {{"port", state.intf.name()}, {"class", static_cast<int>(state.srClass)}};
}

Json bridgeJson(const BridgeState& state) {
  return std::visit([](const auto& of) { return stateJson(of); }, state);
}

}  // namespace Cli
