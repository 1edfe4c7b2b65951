#include "platform/host/JsonDump.h"

#include <nlohmann/json.hpp>

namespace Platform::Host {
namespace {

using Json = nlohmann::ordered_json;

std::string keyText(const Value& key) {
  const Json json = jsonDump(key);
  return json.is_string() ? json.get<std::string>() : json.dump();
}

Json membersDump(const Value::Members& members) {
  Json json = Json::object();
  for (const auto& [key, value] : members) json[keyText(key)] = jsonDump(value);
  return json;
}

// Names the value's type when it is T.
template <class T>
bool scalarDump(const Value& value, Json& json) {
  const T* scalar = value.as<T>();
  if (scalar) json = *scalar;
  return scalar != nullptr;
}

}  // namespace

std::string hexText(std::span<const std::uint8_t> octets) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * octets.size());
  for (const std::uint8_t octet : octets) {
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}

Json jsonDump(const Value& value) {
  if (const auto* octets = value.as<Value::Octets>()) return hexText(*octets);
  if (const auto* object = value.as<Described>()) return jsonDump(*object);
  if (const auto* members = value.as<Value::Members>()) return membersDump(*members);
  Json json;
  scalarDump<bool>(value, json) || scalarDump<std::uint64_t>(value, json) ||
      scalarDump<std::int64_t>(value, json) || scalarDump<double>(value, json) ||
      scalarDump<std::string>(value, json);
  return json;
}

Json jsonDump(const Described& object) {
  Json json = Json::object();
  if (!object.object) return json;
  for (const AttributeInfo& attribute : object.attributes) {
    if (attribute.get) json[std::string(attribute.name)] = jsonDump(attribute.get(object.object));
  }
  return json;
}

}  // namespace Platform::Host
