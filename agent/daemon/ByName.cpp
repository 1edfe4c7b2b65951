// Access by name to what the engine's entities describe.

#include "agent/daemon/Methods.h"
#include "platform/host/JsonDump.h"

namespace Daemon {
namespace {

using Platform::AttributeInfo;
using Platform::Described;
using Platform::Value;
using Rpc::Error;
using Rpc::Json;

// Visits (entity, attribute) of an entity and of those that are part of it. Collections are not
// entities: what is in them is shown by other methods.
template <class Visit>
void walk(const std::string& name, const Described& entity, Visit& visit) {
  for (const AttributeInfo& attribute : entity.attributes) {
    if (!attribute.get) {
      visit(name, entity, attribute);
      continue;
    }
    const Value value = attribute.get(entity.object);
    if (const auto* part = value.as<Described>()) {
      if (part->object) walk(std::string(attribute.name), *part, visit);
    } else if (!value.as<Value::Members>()) {
      visit(name, entity, attribute);
    }
  }
}

template <class Visit>
void walk(const Instance& instance, Visit visit) {
  walk("mrpConfig", instance.config().describe(), visit);
  walk("mrpStatus", instance.status().describe(), visit);
  walk("mrpLib", instance.lib().describe(), visit);
  walk("mrpSm", instance.engine().describe(), visit);
}

Json valueJson(const Described& entity, const AttributeInfo& attribute) {
  return attribute.get ? Json(Platform::Host::jsonDump(attribute.get(entity.object))) : Json();
}

std::optional<Value> valueOf(const Json& json) {
  if (json.is_boolean()) return Value(json.get<bool>());
  if (json.is_number_unsigned()) return Value(json.get<std::uint64_t>());
  if (json.is_number_integer()) return Value(json.get<std::int64_t>());
  if (json.is_number_float()) return Value(json.get<double>());
  if (json.is_string()) return Value(json.get<std::string>());
  return std::nullopt;
}

}  // namespace

Json callGet(const Call& call) {
  const Instance& instance = call.params.neededInstance();
  const auto wanted = call.params.text("name");
  Json list = Json::array();
  std::optional<Json> found;
  walk(instance, [&](const std::string& entity, const Described& object,
                     const AttributeInfo& attribute) {
    const std::string name = entity + "." + std::string(attribute.name);
    if (wanted) {
      if (name == *wanted && !found) found = valueJson(object, attribute);
      return;
    }
    list.push_back({{"name", name},
                    {"value", valueJson(object, attribute)},
                    {"settable", attribute.set != nullptr}});
  });
  if (!wanted) return list;
  if (!found) throw Error::params("there is no attribute \"" + *wanted + "\"");
  return {{"value", std::move(*found)}};
}

Json callSet(const Call& call) {
  const Instance& instance = call.params.neededInstance();
  const std::string wanted = call.params.neededText("name");
  const auto value = valueOf(call.params.needed("value"));
  bool known = false;
  bool done = false;
  walk(instance, [&](const std::string& entity, const Described& object,
                     const AttributeInfo& attribute) {
    if (known || entity + "." + std::string(attribute.name) != wanted) return;
    known = true;
    if (!value || !attribute.set) return;
    try {
      // A description lends its object for writing to those who ask by name.
      done = Platform::attributeValueIs(object, attribute.name, *value);
    } catch (const std::range_error&) {
      done = false;
    }
  });
  if (!known) throw Error::params("there is no attribute \"" + wanted + "\"");
  if (!done) throw Error::params("\"" + wanted + "\" cannot be set to this value");
  return Json::object();
}

}  // namespace Daemon
