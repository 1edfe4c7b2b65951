#include "cli/replay/JsonOutput.h"

#include <nlohmann/json.hpp>

#include "cli/replay/BridgeJson.h"
#include "cli/replay/JsonText.h"
#include "cli/replay/StatusFile.h"
#include "platform/host/JsonDump.h"

namespace Cli {

using Json = nlohmann::ordered_json;
using Platform::Seconds;
using Platform::Host::hexText;

void JsonOutput::indication(Seconds time, const Indication& indication) {
  line({{"time", time.value()},
        {"kind", indication.join ? "join" : "leave"},
        {"port", indication.port},
        {"type", indication.type},
        {"key", std::to_string(indication.key)},
        {"event", indication.event},
        {"value", hexText(indication.value)}});
}

void JsonOutput::transmitted(Seconds time, const std::string& port, OctetSpan frame) {
  line({{"time", time.value()}, {"kind", "tx"}, {"port", port}, {"hex", hexText(frame)}});
}

void JsonOutput::logged(Seconds time, std::string_view handle, std::string_view text) {
  line({{"time", time.value()}, {"kind", "log"}, {"handle", handle}, {"text", text}});
}

void JsonOutput::reserved(Seconds time, const Mrp::ReservationState& state) {
  Json json = {{"time", time.value()}, {"kind", "reservation"}};
  json.update(bridgeJson(state));
  line(json);
}

void JsonOutput::sloped(Seconds time, const Mrp::SlopeState& state) {
  Json json = {{"time", time.value()}, {"kind", "slope"}};
  json.update(bridgeJson(state));
  line(json);
}

void JsonOutput::bounded(Seconds time, const Mrp::BoundaryState& state, bool on) {
  Json json = {{"time", time.value()}, {"kind", "boundary"}};
  json.update(bridgeJson(state));
  json["on"] = on;
  line(json);
}

void JsonOutput::finished(Seconds time, const FinalState& state) {
  Json counters = Json::object();
  for (const auto& [name, count] : state.counters) counters[name] = count;
  Json leaveAll = Json::array();
  for (const LeaveAllState& timer : state.leaveAll) {
    leaveAll.push_back({{"port", timer.port},
                        {"type", timer.type},
                        {"time", timer.period.value()},
                        {"due", timer.due ? Json(timer.due->value()) : Json()}});
  }
  Json json = {{"time", time.value()},
               {"kind", "state"},
               {"counters", std::move(counters)},
               {"attributes", attributesJson(state.attributes)},
               {"leaveAll", std::move(leaveAll)}};
  if (!std::holds_alternative<std::monostate>(state.bridge)) {
    json["bridge"] = bridgeJson(state.bridge);
  }
  line(json);
}

void JsonOutput::line(const Json& json) { out_ << jsonText(json) << '\n'; }

}  // namespace Cli
