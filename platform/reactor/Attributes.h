#pragma once

#include <concepts>
#include <optional>
#include <string_view>
#include <type_traits>

#include "platform/reactor/Value.h"

namespace Platform {

// One attribute of a type, described once as data. The generic copier, access by name and dumps
// all read this description. A null `get` marks an operation: writing it calls it.
struct AttributeInfo {
  std::string_view name;
  Value (*get)(const void* object) = nullptr;
  // False when the value has another type, lies outside the attribute's range or is refused by the
  // setter; a range error of the setter passes through. True only when the value was written.
  bool (*set)(void* object, const Value& value) = nullptr;
  void (*copy)(const void* from, void* to) = nullptr;
};

// Turns a C++ type into a Value and back. Specialised beside each type that attributes have;
// `fromValue` returns nothing for a value of the wrong type or out of range.
template <class T>
struct ValueCodec;

template <>
struct ValueCodec<bool> {
  static Value toValue(bool v) { return Value(v); }
  static std::optional<bool> fromValue(const Value& v) {
    if (auto* b = v.as<bool>()) return *b;
    return std::nullopt;
  }
};

template <std::unsigned_integral T>
requires(!std::same_as<T, bool>) struct ValueCodec<T> {
  static Value toValue(T v) { return Value(std::uint64_t{v}); }
  static std::optional<T> fromValue(const Value& v) {
    auto* n = v.as<std::uint64_t>();
    if (!n || *n > static_cast<T>(~T{0})) return std::nullopt;
    return static_cast<T>(*n);
  }
};

template <>
struct ValueCodec<std::string> {
  static Value toValue(const std::string& v) { return Value(v); }
  static std::optional<std::string> fromValue(const Value& v) {
    if (auto* s = v.as<std::string>()) return *s;
    return std::nullopt;
  }
};

template <>
struct ValueCodec<Value::Octets> {
  static Value toValue(const Value::Octets& v) { return Value(v); }
  static std::optional<Value::Octets> fromValue(const Value& v) {
    if (auto* octets = v.as<Value::Octets>()) return *octets;
    return std::nullopt;
  }
};

// Nested objects and collections are read, never written.
template <>
struct ValueCodec<Described> {
  static Value toValue(const Described& v) { return Value(v); }
};
template <>
struct ValueCodec<Value::Members> {
  static Value toValue(Value::Members v) { return Value(std::move(v)); }
};

namespace Detail {

template <class T>
struct GetterOf;
template <class R, class C>
struct GetterOf<R (C::*)() const> {
  using Result = std::remove_cvref_t<R>;
};
template <class R, class C>
struct GetterOf<R (C::*)() const noexcept> : GetterOf<R (C::*)() const> {};

template <class T>
struct ArgumentOf;
template <class R, class C, class A>
struct ArgumentOf<R (C::*)(A)> {
  using Type = std::remove_cvref_t<A>;
};

// Hands a value to a setter or an operation. One that returns bool may refuse the value.
template <class T, auto Set, class V>
bool write(void* object, const Value& value) {
  const std::optional<V> v = ValueCodec<V>::fromValue(value);
  if (!v) return false;
  T& target = *static_cast<T*>(object);
  if constexpr (std::same_as<decltype((target.*Set)(*v)), bool>) {
    return (target.*Set)(*v);
  } else {
    (target.*Set)(*v);
    return true;
  }
}

}  // namespace Detail

// Describes attribute `name` of T by its accessor pair.
template <class T, auto Get, auto Set>
constexpr AttributeInfo attribute(std::string_view name) {
  using V = typename Detail::GetterOf<decltype(Get)>::Result;
  return {name,
          [](const void* object) {
            return ValueCodec<V>::toValue((static_cast<const T*>(object)->*Get)());
          },
          &Detail::write<T, Set, V>,
          [](const void* from, void* to) {
            (static_cast<T*>(to)->*Set)((static_cast<const T*>(from)->*Get)());
          }};
}

// Describes an attribute that cannot be written from outside.
template <class T, auto Get>
constexpr AttributeInfo readOnlyAttribute(std::string_view name) {
  using V = typename Detail::GetterOf<decltype(Get)>::Result;
  return {name,
          [](const void* object) {
            return ValueCodec<V>::toValue((static_cast<const T*>(object)->*Get)());
          },
          nullptr, nullptr};
}

// Describes an operation with one argument.
template <class T, auto Call>
constexpr AttributeInfo operation(std::string_view name) {
  using V = typename Detail::ArgumentOf<decltype(Call)>::Type;
  return {name, nullptr, &Detail::write<T, Call, V>, nullptr};
}

// For a type with a static member `attributeTable()` (a span of AttributeInfo).
template <class T>
Described described(const T& object) {
  return {T::typeName, &object, T::attributeTable()};
}

// The generic copier: writes every writable attribute of `from` into `to`.
template <class T>
void entityCopy(const T& from, T& to) {
  for (const AttributeInfo& a : T::attributeTable()) {
    if (a.copy) a.copy(&from, &to);
  }
}

// Access by name. Reading an unknown name gives no value; writing one is refused with false.
MRP_API std::optional<Value> attributeValue(const Described& object, std::string_view name);
MRP_API bool attributeValueIs(const Described& object, std::string_view name, const Value& value);

}  // namespace Platform
