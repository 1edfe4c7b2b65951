#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/reactor/Attributes.h"

// Text forms of the value records: each prints one way, and its parser accepts that and no other
// text.
namespace Mrp {

// The value records: class types with a `stringValue` of their own.
template <class T>
concept TextValue = std::is_class_v<T> && requires(const T& value) {
  { stringValue(value) } -> std::same_as<std::string>;
};

// Independent of the stream's base.
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

// Reads a text from its front. What does not fit consumes nothing.
class MRP_API TextReader {
 public:
  explicit TextReader(std::string_view text) : rest_(text) {}

  bool take(std::string_view literal);
  // A decimal number up to `max`.
  std::optional<std::uint64_t> number(std::uint64_t max);
  // The next `n` characters.
  std::optional<std::string_view> characters(std::size_t n);
  // The longest run of letters and digits.
  std::string_view word();

 private:
  std::string_view rest_;
};

// Parses by `take(reader, value)`, which may be lenient in spelling (leading zeros, capitals): what
// the result would not print, down to the last character, is refused.
template <class T, class Take>
std::optional<T> parseExactly(std::string_view text, Take take) {
  TextReader reader(text);
  T value;
  if (!take(reader, value) || stringValue(value) != text) return std::nullopt;
  return value;
}

}  // namespace Mrp
