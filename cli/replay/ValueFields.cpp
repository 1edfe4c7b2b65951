#include "cli/replay/ValueFields.h"

#include <algorithm>
#include <array>
#include <limits>
#include <nlohmann/json.hpp>

#include "cli/BadInput.h"
#include "cli/replay/JsonMembers.h"

namespace Cli {
namespace {

using Mrp::MrpApplication;
using Json = nlohmann::ordered_json;
using Form = ValueField::Form;

constexpr std::uint64_t kU8 = 0xff;
constexpr std::uint64_t kU16 = 0xffff;
constexpr std::uint64_t kU32 = 0xffffffff;
constexpr std::uint64_t kU48 = 0xffffffffffff;
constexpr std::uint64_t kU64 = std::numeric_limits<std::uint64_t>::max();

// A talker advertise is the front of a talker failed.
constexpr std::array kTalker{
    ValueField{"streamId", Form::identifier, 0, 8, kU64},
    ValueField{"dmac", Form::address, 8, 6, kU48},
    ValueField{"vlanId", Form::number, 14, 2, kU16},
    ValueField{"maxFrameSize", Form::number, 16, 2, kU16},
    ValueField{"maxIntervalFrames", Form::number, 18, 2, kU16},
    ValueField{"priority", Form::number, 20, 1, 7, 5},
    ValueField{"rank", Form::number, 20, 1, 1, 4},
    ValueField{"accumulatedLatency", Form::number, 21, 4, kU32},
    ValueField{"bridgeId", Form::identifier, 25, 8, kU64},
    ValueField{"failureCode", Form::number, 33, 1, kU8},
};
constexpr std::size_t kFailureFields = 2;
constexpr std::array kListener{
    ValueField{"streamId", Form::identifier, 0, 8, kU64},
    ValueField{"listenerEvent", Form::listener, 8, 4, 3},
};
constexpr std::array kDomain{
    ValueField{"srClassId", Form::number, 0, 1, kU8},
    ValueField{"srClassPriority", Form::number, 1, 1, kU8},
    ValueField{"srClassVID", Form::number, 2, 2, kU16},
};
constexpr std::array kVlan{ValueField{"vlanId", Form::number, 0, 2, kU16}};

std::optional<std::uint64_t> identifier(const std::string& text) {
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  return wholeNumber(std::string_view(text).substr(hex ? 2 : 0), hex ? 16 : 10);
}

std::optional<std::uint64_t> numberFrom(const Json& json, Form form) {
  if (json.is_number_unsigned() && form != Form::address) return json.get<std::uint64_t>();
  if (!json.is_string()) return std::nullopt;
  const auto& text = json.get_ref<const std::string&>();
  switch (form) {
    case Form::identifier:
      return identifier(text);
    case Form::address:
      if (const auto address = Platform::EthAddr::parse(text)) return address->number();
      return std::nullopt;
    case Form::listener:
      if (const auto event = Mrp::msrpListenerEvent(text)) return std::uint64_t(*event);
      return std::nullopt;
    case Form::number:
      return std::nullopt;
  }
  return std::nullopt;
}

void putField(const ValueField& field, std::uint64_t number, Octets& value) {
  number <<= field.shift;
  for (std::size_t i = field.size; i-- > 0; number >>= 8) {
    value[field.offset + i] |= static_cast<std::uint8_t>(number);
  }
}

}  // namespace

std::span<const ValueField> fieldsOf(MrpApplication application, std::uint8_t type) {
  if (application == MrpApplication::mvrp) return kVlan;
  switch (type) {
    case 1:
      return std::span(kTalker).first(kTalker.size() - kFailureFields);
    case 2:
      return kTalker;
    case 3:
      return kListener;
    default:
      return kDomain;
  }
}

std::size_t valueSize(MrpApplication application, std::uint8_t type) {
  const ValueField& last = fieldsOf(application, type).back();
  return std::size_t{last.offset} + last.size;
}

std::uint64_t fieldOf(const ValueField& field, OctetSpan value) {
  return numberAt(value, field.offset, field.size) >> field.shift & field.max;
}

std::uint64_t keyOf(MrpApplication application, std::uint8_t type, OctetSpan value) {
  return fieldOf(fieldsOf(application, type).front(), value);
}

Octets valueFromJson(MrpApplication application, std::uint8_t type, const Json& json,
                     const std::string& where) {
  if (json.is_string()) {
    return valueFromHex(application, type, json.get_ref<const std::string&>(), where);
  }
  if (!json.is_object())
    throw BadInput(where, "a value is hexadecimal text or an object of fields");
  const auto fields = fieldsOf(application, type);
  if (!json.contains(fields.front().name)) {
    throw BadInput(where, "a " + typeName(application, type) + " value needs \"" +
                              std::string(fields.front().name) + "\"");
  }
  Octets value(valueSize(application, type));
  for (const auto& [name, member] : json.items()) {
    const auto field = std::ranges::find(fields, name, &ValueField::name);
    if (field == fields.end()) continue;
    const auto number = numberFrom(member, field->form);
    if (!number || *number > field->max) {
      throw BadInput(where, "\"" + name + "\" cannot be " + shown(member));
    }
    putField(*field, *number, value);
  }
  return value;
}

Octets valueFromHex(MrpApplication application, std::uint8_t type, std::string_view hex,
                    const std::string& where) {
  const auto octets = octetsFromHex(hex);
  if (!octets) throw BadInput(where, "\"value\" is not hexadecimal text");
  const std::size_t size = valueSize(application, type);
  if (octets->size() != size) {
    throw BadInput(where, "a " + typeName(application, type) + " value has " +
                              std::to_string(size) + " octets, not " +
                              std::to_string(octets->size()));
  }
  return *octets;
}

}  // namespace Cli
