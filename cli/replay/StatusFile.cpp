#include "cli/replay/StatusFile.h"

#include <nlohmann/json.hpp>
#include <set>
#include <tuple>

#include "cli/BadInput.h"
#include "cli/replay/JsonMembers.h"
#include "cli/replay/TextFile.h"
#include "cli/replay/ValueFields.h"
#include "platform/host/JsonDump.h"

namespace Cli {
namespace {

using Json = nlohmann::ordered_json;

// States are given by name alone; the type library would also read numbers.
template <class State>
State stateOf(const JsonMembers& members, const char* name,
              std::optional<State> (*parse)(std::string_view), std::uint8_t states) {
  const std::string& text = members.text(name);
  const auto state = parse(text);
  const bool named = state && static_cast<std::uint8_t>(*state) < states && text[0] >= 'A';
  if (!named) members.refuseMember(name, "the name of a state");
  return *state;
}

AttributeState attributeOf(const JsonMembers& members, Mrp::MrpApplication application) {
  AttributeState attribute;
  attribute.port = members.port("port");
  attribute.type = static_cast<std::uint8_t>(members.number("type", 255));
  if (attribute.type == 0 || attribute.type > infoOf(application).types.size()) {
    members.refuse(std::string(infoOf(application).title) + " has no attribute type " +
                   std::to_string(attribute.type));
  }
  const auto key = wholeNumber(members.text("key"), 10);
  if (!key) members.refuseMember("key", "a decimal number in a text");
  attribute.key = *key;
  attribute.applicant =
      stateOf<Mrp::MrpApplicantState>(members, "applicant", Mrp::mrpApplicantState, 12);
  attribute.registrar =
      stateOf<Mrp::MrpRegistrarState>(members, "registrar", Mrp::mrpRegistrarState, 3);
  attribute.value =
      valueFromHex(application, attribute.type, members.text("value"), members.where());
  const std::uint64_t valueKey = keyOf(application, attribute.type, attribute.value);
  if (valueKey != attribute.key) {
    members.refuse("\"key\" is " + std::to_string(attribute.key) + ", but that of the value is " +
                   std::to_string(valueKey));
  }
  return attribute;
}

}  // namespace

std::vector<AttributeState> readStatus(const std::string& path, Mrp::MrpApplication application) {
  const Json json = Json::parse(readTextFile(path), nullptr, false);
  if (json.is_discarded()) throw BadInput(path, "not JSON");
  const JsonMembers file(json, path);
  const ApplicationInfo& info = infoOf(application);
  if (file.text("application") != info.name) {
    file.refuse("the status is not that of " + std::string(info.title));
  }
  const Json& list = file.member("attributes");
  if (!list.is_array()) file.refuseMember("attributes", "a list");
  std::vector<AttributeState> attributes;
  std::set<std::tuple<std::string, std::uint8_t, std::uint64_t>> seen;
  for (const Json& member : list) {
    const std::string where = path + ": attribute " + std::to_string(attributes.size() + 1);
    const JsonMembers members(member, where);
    AttributeState attribute = attributeOf(members, application);
    if (!seen.emplace(attribute.port, attribute.type, attribute.key).second) {
      members.refuse("the attribute occurs twice");
    }
    attributes.push_back(std::move(attribute));
  }
  return attributes;
}

Json attributesJson(const std::vector<AttributeState>& attributes) {
  Json list = Json::array();
  for (const AttributeState& attribute : attributes) {
    list.push_back({{"port", attribute.port},
                    {"type", attribute.type},
                    {"key", std::to_string(attribute.key)},
                    {"applicant", stringValue(attribute.applicant)},
                    {"registrar", stringValue(attribute.registrar)},
                    {"value", Platform::Host::hexText(attribute.value)}});
  }
  return list;
}

std::string statusText(const std::vector<AttributeState>& attributes,
                       Mrp::MrpApplication application) {
  const Json json{{"application", infoOf(application).name},
                  {"attributes", attributesJson(attributes)}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace Cli
