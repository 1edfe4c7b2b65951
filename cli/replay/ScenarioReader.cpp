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
      json.get<std::uint64_t>() > info.types.size()) {
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

// --- Of a bridge
// -----------------------------------------------------------------------------------

std::uint16_t vlanOf(const JsonMembers& members, const Json& json) {
  if (!json.is_number_unsigned() || !Mrp::VlanSet::valid(json.get<std::uint64_t>())) {
    members.refuse(shown(json) + " is not a VLAN");
  }
  return json.get<std::uint16_t>();
}

std::vector<std::uint16_t> vlansOf(const JsonMembers& members) {
  const Json& list = members.member("vlans");
  if (!list.is_array()) members.refuseMember("vlans", "a list of VLANs");
  std::vector<std::uint16_t> vlans;
  for (const Json& vlan : list) vlans.push_back(vlanOf(members, vlan));
  return vlans;
}

template <class T>
struct Named {
  std::string_view name;
  T value;
};

template <class T, std::size_t N>
T oneOf(const JsonMembers& members, const char* member, const std::array<Named<T>, N>& names) {
  const auto found = std::ranges::find(names, members.text(member), &Named<T>::name);
  if (found == names.end()) members.refuseMember(member, "one of the known words");
  return found->value;
}

std::optional<std::uint32_t> numberIfThere(const JsonMembers& members, const char* name) {
  if (!members.has(name)) return std::nullopt;
  return static_cast<std::uint32_t>(
      members.number(name, std::numeric_limits<std::uint32_t>::max()));
}

ByClass byClass(const JsonMembers& members, const char* name) {
  ByClass numbers;
  if (!members.has(name)) return numbers;
  const JsonMembers classes(members.member(name), members.where());
  for (const char* c : {"6", "5"}) {
    if (const auto number = numberIfThere(classes, c)) {
      numbers[static_cast<std::uint64_t>(c[0] - '0')] = *number;
    }
  }
  return numbers;
}

What bridgePort(const JsonMembers& members, MrpApplication) {
  BridgePortAction action;
  action.port = members.port("port");
  if (members.has("rate")) {
    action.rate = members.number("rate", std::numeric_limits<std::uint64_t>::max());
  }
  action.maxPayload = numberIfThere(members, "maxPayload");
  if (members.has("capable")) action.capable = members.boolean("capable");
  action.delta = byClass(members, "delta");
  action.latency = byClass(members, "latency");
  return action;
}

What egress(const JsonMembers& members, MrpApplication) {
  static constexpr std::array kNames{
      Named<Mrp::VlanEgress>{"allowed", Mrp::VlanEgress::allowed},
      Named<Mrp::VlanEgress>{"forbidden", Mrp::VlanEgress::forbidden},
      Named<Mrp::VlanEgress>{"untagged", Mrp::VlanEgress::untagged},
  };
  return EgressAction{members.port("port"), vlanOf(members, members.member("vlan")),
                      oneOf(members, "is", kNames)};
}

What address(const JsonMembers& members, MrpApplication) {
  const auto dmac = Platform::EthAddr::parse(members.text("dmac"));
  if (!dmac) members.refuseMember("dmac", "an address");
  return AddressAction{members.port("port"), vlanOf(members, members.member("vlan")), *dmac,
                       members.boolean("registered")};
}

What bridge(const JsonMembers& members, MrpApplication) {
  BridgeAction action;
  if (members.has("talkerPruning")) action.talkerPruning = members.boolean("talkerPruning");
  action.fanIn = numberIfThere(members, "fanIn");
  action.overhead = numberIfThere(members, "overhead");
  action.streamLimit = numberIfThere(members, "streamLimit");
  action.entryLimit = numberIfThere(members, "entryLimit");
  if (members.has("recovery")) {
    action.recovery = members.member("recovery").is_null() ? Platform::Seconds::never()
                                                           : members.seconds("recovery");
  }
  return action;
}

void onlyMvrp(const JsonMembers& members, MrpApplication application) {
  if (application == MrpApplication::mvrp) return;
  members.refuse("\"" + members.text("do") + "\" is an action of MVRP");
}

template <bool declare>
What declaration(const JsonMembers& members, MrpApplication application) {
  onlyMvrp(members, application);
  DeclareAction action{vlansOf(members), {}, declare};
  if (members.has("port")) action.port = members.port("port");
  return action;
}

What registration(const JsonMembers& members, MrpApplication application) {
  static constexpr std::array kNames{
      Named<Mrp::Registration>{"normal", Mrp::Registration::normal},
      Named<Mrp::Registration>{"fixed", Mrp::Registration::fixed},
      Named<Mrp::Registration>{"forbidden", Mrp::Registration::forbidden},
  };
  onlyMvrp(members, application);
  RegistrationAction action{members.port("port"), {}, oneOf(members, "is", kNames)};
  if (members.has("vlans")) action.vlans = vlansOf(members);
  return action;
}

// With a bridge, without one, or always.
enum class Where : std::uint8_t { always, plain, bridge };

struct NamedAction {
  std::string_view name;
  What (*read)(const JsonMembers& members, MrpApplication application);
  Where where = Where::always;
};
constexpr std::array kActions{
    NamedAction{"frame", frame},
    NamedAction{"request", request, Where::plain},
    NamedAction{"enable", enable},
    NamedAction{"disable", disable},
    NamedAction{"leave-all", leaveAll},
    NamedAction{"role", role},
    NamedAction{"config", config},
    NamedAction{"flood", onOff<SwitchAction::What::flood>},
    NamedAction{"recycled", onOff<SwitchAction::What::recycled>},
    NamedAction{"join-discard", onOff<SwitchAction::What::joinDiscard>, Where::plain},
    NamedAction{"clog", clog},
    NamedAction{"activate", activate},
    NamedAction{"bridge-port", bridgePort, Where::bridge},
    NamedAction{"egress", egress, Where::bridge},
    NamedAction{"address", address, Where::bridge},
    NamedAction{"bridge", bridge, Where::bridge},
    NamedAction{"declare", declaration<true>, Where::bridge},
    NamedAction{"withdraw", declaration<false>, Where::bridge},
    NamedAction{"registration", registration, Where::bridge},
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

std::vector<ScenarioLine> readScenario(const std::string& path, bool bridge) {
  const std::string text = readTextFile(path);
  std::vector<ScenarioLine> lines;
  std::uint32_t number = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    ++number;
    if (blank(line)) continue;
    ScenarioLine read{path + ":" + std::to_string(number), {}, {}, number};
    read.json = parse(line, read.where);
    const JsonMembers members(read.json, read.where);
    read.at = members.seconds("at");
    const Where where = namedAction(members).where;
    if (where == (bridge ? Where::plain : Where::bridge)) {
      members.refuse("\"" + members.text("do") + "\" is no action " +
                     (bridge ? "of a bridge" : "without --bridge"));
    }
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
  return {line.at, namedAction(members).read(members, application), line.number};
}

}  // namespace Cli
