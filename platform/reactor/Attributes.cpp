#include "platform/reactor/Attributes.h"

namespace Platform {
namespace {

const AttributeInfo* find(const Described& object, std::string_view name) {
  for (const AttributeInfo& a : object.attributes) {
    if (a.name == name) return &a;
  }
  return nullptr;
}

}  // namespace

std::optional<Value> attributeValue(const Described& object, std::string_view name) {
  const AttributeInfo* a = find(object, name);
  if (!a || !a->get) return std::nullopt;
  return a->get(object.object);
}

bool attributeValueIs(const Described& object, std::string_view name, const Value& value) {
  const AttributeInfo* a = find(object, name);
  return a && a->set && a->set(const_cast<void*>(object.object), value);
}

}  // namespace Platform
