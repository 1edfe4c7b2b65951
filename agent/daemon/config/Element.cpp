#include "agent/daemon/config/Element.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "agent/daemon/config/VlanRanges.h"

namespace Daemon {
namespace {

bool isChoice(std::string_view text, std::string_view choices) {
  for (std::size_t at = 0; at <= choices.size();) {
    const std::size_t bar = std::min(choices.find('|', at), choices.size());
    if (choices.substr(at, bar - at) == text) return true;
    at = bar + 1;
  }
  return false;
}

bool isAllowed(const Key& key, const std::string& text) {
  if (text.find('\0') != std::string::npos) return false;
  if (!key.choices.empty()) return isChoice(text, key.choices);
  return !key.good || key.good(text);
}

std::optional<double> secondsOf(const Element& element) {
  if (const auto* number = std::get_if<double>(&element.value)) return *number;
  if (const auto* number = std::get_if<std::int64_t>(&element.value)) {
    return static_cast<double>(*number);
  }
  return std::nullopt;
}

std::optional<Value> single(const Key& key, const Element& element) {
  if (key.type == Key::Type::seconds) {
    const auto number = secondsOf(element);
    // Written so that not-a-number is refused.
    if (number && *number >= key.min && *number <= key.max) return Value(*number);
    if (key.orZero && number == 0.0) return Value(0.0);
    return std::nullopt;
  }
  if (const auto* flag = std::get_if<bool>(&element.value)) {
    if (key.type == Key::Type::boolean) return Value(*flag);
  } else if (const auto* number = std::get_if<std::int64_t>(&element.value)) {
    if (key.type == Key::Type::rate && static_cast<double>(*number) >= key.min &&
        static_cast<double>(*number) <= key.max) {
      return Value(static_cast<std::uint64_t>(*number));
    }
    if (key.type == Key::Type::count && *number >= 0 && static_cast<double>(*number) >= key.min &&
        static_cast<double>(*number) <= key.max) {
      return Value(static_cast<std::uint32_t>(*number));
    }
  } else if (const auto* text = std::get_if<std::string>(&element.value)) {
    if (key.type == Key::Type::text && isAllowed(key, *text)) return Value(*text);
  }
  return std::nullopt;
}

// Puts one element of an array to the rest.
bool append(const Key& key, const Element& element, Value& value) {
  if (auto* texts = std::get_if<std::vector<std::string>>(&value)) {
    const auto* text = std::get_if<std::string>(&element.value);
    if (text && isAllowed(key, *text)) texts->push_back(*text);
    return text && isAllowed(key, *text);
  }
  if (auto* vlans = std::get_if<Mrp::VlanSet>(&value)) {
    std::optional<Mrp::VlanSet> some;
    if (const auto* text = std::get_if<std::string>(&element.value)) some = vlansFrom(*text);
    if (const auto* number = std::get_if<std::int64_t>(&element.value)) {
      some = vlansFrom(std::to_string(*number));
    }
    if (some) *vlans |= *some;
    return some.has_value();
  }
  if (auto* numbers = std::get_if<ClassNumbers>(&value)) {
    const auto* one = std::get_if<ClassNumber>(&element.value);
    if (!one || (one->id != 6 && one->id != 5) || static_cast<double>(one->number) < key.min ||
        static_cast<double>(one->number) > key.max) {
      return false;
    }
    (one->id == 6 ? numbers->a : numbers->b) = static_cast<std::uint32_t>(one->number);
    return true;
  }
  auto& classes = std::get<std::vector<SrClass>>(value);
  const auto* srClass = std::get_if<SrClass>(&element.value);
  if (!srClass || std::ranges::count(classes, srClass->id, &SrClass::id)) return false;
  classes.push_back(*srClass);
  return true;
}

// What an array starts from: nothing, or the defaults of the classes that it does not name.
std::optional<Value> emptyArray(const Key& key) {
  switch (key.type) {
    case Key::Type::perClass: {
      const Config defaults;
      return key.get(&defaults);
    }
    case Key::Type::texts:
      return Value(std::vector<std::string>());
    case Key::Type::vlans:
      return Value(Mrp::VlanSet());
    case Key::Type::classes:
      return Value(std::vector<SrClass>());
    default:
      return std::nullopt;
  }
}

template <class Number>
bool readWhole(const std::string& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

Element elementOf(Key::Type type, const std::string& text, const std::string& where) {
  std::int64_t whole = 0;
  double number = 0;
  switch (type) {
    case Key::Type::boolean:
      if (text == "true" || text == "false") return {text == "true", where};
      return {OtherType(), where};
    case Key::Type::seconds:
      return readWhole(text, number) ? Element{number, where} : Element{OtherType(), where};
    case Key::Type::count:
    case Key::Type::rate:
      return readWhole(text, whole) ? Element{whole, where} : Element{OtherType(), where};
    case Key::Type::perClass:
      // "6=75"
      if (text.size() > 2 && text[1] == '=' && readWhole(text.substr(2), whole)) {
        return {ClassNumber{static_cast<std::uint8_t>(text[0] - '0'), whole}, where};
      }
      return {OtherType(), where};
    default:
      return {text, where};
  }
}

}  // namespace

std::optional<Value> valueOf(const Key& key, const Written& written, std::string& wrong) {
  std::optional<Value> value = emptyArray(key);
  wrong = written.where;
  if (written.isArray != value.has_value()) return std::nullopt;
  if (!value) return single(key, written.elements.front());
  for (const Element& element : written.elements) {
    if (append(key, element, *value)) continue;
    wrong = element.where;
    return std::nullopt;
  }
  return value;
}

// Lists are separated by commas, or by repeating the option; "" is the empty list.
Written writtenOf(const Key& key, const std::string& option,
                  const std::vector<std::string>& texts) {
  Written written{emptyArray(key).has_value(), {}, option};
  if (!written.isArray) {
    written.elements.push_back(elementOf(key.type, texts.empty() ? "" : texts.back(), option));
    return written;
  }
  for (const std::string& text : texts) {
    if (text.empty()) continue;
    for (std::size_t at = 0; at <= text.size();) {
      const std::size_t comma = std::min(text.find(',', at), text.size());
      written.elements.push_back(elementOf(key.type, text.substr(at, comma - at), option));
      at = comma + 1;
    }
  }
  return written;
}

}  // namespace Daemon
