#include "cli/replay/ScenarioReader.h"

#include <algorithm>
#include <array>
#include <limits>

#include "cli/BadInput.h"
#include "cli/replay/JsonMembers.h"
#include "cli/replay/TextFile.h"
#include "cli/replay/ValueFields.h"

namespace Cli {
namespace {

using Mrp::MrpApplication;
using Platform::Value;
using Json = nlohmann::ordered_json;
using What = decltype(Action::what);

struct NamedEvent {
  std::string_view name;
  std::uint8_t event;
};
constexpr std::uint8_t kNew = 0;
constexpr std::uint8_t kJoin = 1;
constexpr std::uint8_t kJoinMt = 3;
constexpr std::uint8_t kLeave = 5;
constexpr std::array kEvents{
    NamedEvent{"New", kNew},
    NamedEvent{"Join", kJoin},
    NamedEvent{"Leave", kLeave},
    NamedEvent{"LeaveAll", Mrp::kLeaveAllEvent},
    NamedEvent{"InternalLeave", Mrp::kInternalLeaveEvent},
};

// Events that name an attribute by the value in the transmit record.
bool needsValue(std::uint8_t event) {
  return event == kNew || event == kJoin || event == kJoinMt || event == kLeave ||
         event == Mrp::kInternalLeaveEvent;
}

std::uint8_t eventOf(const JsonMembers& members) {
  const Json& json = members.member("event");
  if (json.is_string()) {
    const auto found =
        std::ranges::find(kEvents, json.get_ref<const std::string&>(), &NamedEvent::name);
    if (found == kEvents.end()) members.refuse("unknown event " + json.dump());
    return found->event;
  }
  return static_cast<std::uint8_t>(members.number("event", 255));
}

std::uint8_t typeOf(const JsonMembers& members, MrpApplication application) {
  const ApplicationInfo& info = infoOf(application);
  const Json& json = members.member("type");
  if (!json.is_number_unsigned() || json.get<std::uint64_t>() == 0 ||
      json.get<std::uint64_t>() > info.types) {
    members.refuse(std::string(info.title) + " has no attribute type " + shown(json));
  }
  return json.get<std::uint8_t>();
}

What frame(const JsonMembers& members, MrpApplication) {
  FrameAction action{members.port("port"), members.hex("hex"), {}};
  if (members.has("unread")) action.unread = members.seconds("unread");
  return action;
}

What request(const JsonMembers& members, MrpApplication application) {
  RequestAction action;
  if (members.has("port")) action.port = members.port("port");
  action.ports = members.ports("ports");
  action.event = eventOf(members);
  action.type = typeOf(members, application);
  if (members.has("value")) {
    action.value =
        valueFromJson(application, action.type, members.member("value"), members.where());
  } else if (needsValue(action.event)) {
    members.refuse("\"value\" is missing");
  }
  return action;
}

What enable(const JsonMembers& members, MrpApplication) {
  return EnableAction{members.port("port"), true};
}
What disable(const JsonMembers& members, MrpApplication) {
  return EnableAction{members.port("port"), false};
}
What leaveAll(const JsonMembers& members, MrpApplication) {
  return LeaveAllAction{members.port("port")};
}
What role(const JsonMembers& members, MrpApplication) {
  return RoleAction{members.text("stp"), members.text("mst"), members.port("port"),
                    static_cast<std::uint32_t>(
                        members.number("role", std::numeric_limits<std::uint32_t>::max()))};
}

struct ConfigField {
  enum class Kind : std::uint8_t { seconds, portSeconds, boolean, number };
  std::string_view name;
  Kind kind;
};
constexpr std::array kConfigFields{
    ConfigField{"leaveTime", ConfigField::Kind::seconds},
    ConfigField{"leaveAllTime", ConfigField::Kind::seconds},
    ConfigField{"leaveAllLeaveTime", ConfigField::Kind::seconds},
    ConfigField{"intfLeaveTime", ConfigField::Kind::portSeconds},
    ConfigField{"intfLeaveAllTime", ConfigField::Kind::portSeconds},
    ConfigField{"timersEnabled", ConfigField::Kind::boolean},
    ConfigField{"txSuppress", ConfigField::Kind::boolean},
    ConfigField{"vlanLimit", ConfigField::Kind::number},
    ConfigField{"talkerAdvertiseLimit", ConfigField::Kind::number},
    ConfigField{"talkerFailedLimit", ConfigField::Kind::number},
    ConfigField{"listenerLimit", ConfigField::Kind::number},
    ConfigField{"domainLimit", ConfigField::Kind::number},
};

What config(const JsonMembers& members, MrpApplication) {
  ConfigAction action{members.text("field"), {}, {}};
  const auto field = std::ranges::find(kConfigFields, action.field, &ConfigField::name);
  if (field == kConfigFields.end()) members.refuse("unknown field \"" + action.field + "\"");
  switch (field->kind) {
    case ConfigField::Kind::boolean:
      action.value = Value(members.boolean("value"));
      break;
    case ConfigField::Kind::number:
      action.value = Value(members.number("value", std::numeric_limits<std::uint32_t>::max()));
      break;
    case ConfigField::Kind::portSeconds:
      action.port = members.port("port");
      if (members.member("value").is_null()) break;
      [[fallthrough]];
    case ConfigField::Kind::seconds:
      action.value = Value(members.seconds("value").value());
      break;
  }
  return action;
}

template <SwitchAction::What what>
What onOff(const JsonMembers& members, MrpApplication) {
  return SwitchAction{what, members.boolean("on")};
}
What clog(const JsonMembers& members, MrpApplication) {
  return ClogAction{members.number("octets", std::numeric_limits<std::uint64_t>::max())};
}
What activate(const JsonMembers&, MrpApplication) { return ActivateAction{}; }

struct NamedAction {
  std::string_view name;
  What (*read)(const JsonMembers& members, MrpApplication application);
};
constexpr std::array kActions{
    NamedAction{"frame", frame},
    NamedAction{"request", request},
    NamedAction{"enable", enable},
    NamedAction{"disable", disable},
    NamedAction{"leave-all", leaveAll},
    NamedAction{"role", role},
    NamedAction{"config", config},
    NamedAction{"flood", onOff<SwitchAction::What::flood>},
    NamedAction{"recycled", onOff<SwitchAction::What::recycled>},
    NamedAction{"join-discard", onOff<SwitchAction::What::joinDiscard>},
    NamedAction{"clog", clog},
    NamedAction{"activate", activate},
};

const NamedAction& namedAction(const JsonMembers& members) {
  const std::string& name = members.text("do");
  const auto found = std::ranges::find(kActions, name, &NamedAction::name);
  if (found == kActions.end()) members.refuse("unknown action \"" + name + "\"");
  return *found;
}

bool blank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

Json parse(std::string_view line, const std::string& where) {
  Json json = Json::parse(line, nullptr, false);
  if (json.is_discarded()) throw BadInput(where, "not JSON");
  return json;
}

}  // namespace

std::vector<ScenarioLine> readScenario(const std::string& path) {
  const std::string text = readTextFile(path);
  std::vector<ScenarioLine> lines;
  std::size_t number = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    ++number;
    if (blank(line)) continue;
    ScenarioLine read{path + ":" + std::to_string(number), {}, {}};
    read.json = parse(line, read.where);
    const JsonMembers members(read.json, read.where);
    read.at = members.seconds("at");
    namedAction(members);
    if (!lines.empty() && read.at < lines.back().at) {
      members.refuse("\"at\" lies before that of the line above");
    }
    lines.push_back(std::move(read));
  }
  return lines;
}

std::optional<FrameAction> frameOf(const ScenarioLine& line) {
  const JsonMembers members(line.json, line.where);
  if (members.text("do") != "frame") return std::nullopt;
  return std::get<FrameAction>(frame(members, MrpApplication::none));
}

Action actionOf(const ScenarioLine& line, MrpApplication application) {
  const JsonMembers members(line.json, line.where);
  return {line.at, namedAction(members).read(members, application)};
}

}  // namespace Cli
