#include "cli/replay/JsonOutput.h"

#include <nlohmann/json.hpp>

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
  line({{"time", time.value()},
        {"kind", "state"},
        {"counters", std::move(counters)},
        {"attributes", attributesJson(state.attributes)},
        {"leaveAll", std::move(leaveAll)}});
}

void JsonOutput::line(const Json& json) { out_ << jsonText(json) << '\n'; }

}  // namespace Cli
