#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/reactor/Attributes.h"

// Text forms of the value records: each prints one way, and its parser accepts that and no other
// text.
namespace Mrp {

// The value records: class types with a `stringValue` of their own.
template <class T>
concept TextValue = std::is_class_v<T> && requires(const T& value) {
  { stringValue(value) } -> std::same_as<std::string>;
};

// Independent of the stream's base and fill.
template <TextValue T>
std::ostream& operator<<(std::ostream& out, const T& value) {
  return out << stringValue(value);
}

// A record as an attribute value: its text form.
template <class T, std::optional<T> (*Parse)(std::string_view)>
struct TextCodec {
  static Platform::Value toValue(const T& value) { return Platform::Value(stringValue(value)); }
  static std::optional<T> fromValue(const Platform::Value& value) {
    auto* text = value.as<std::string>();
    return text ? Parse(*text) : std::nullopt;
  }
};

}  // namespace Mrp
