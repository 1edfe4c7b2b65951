#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string_view>

#include "cli/replay/Application.h"

// The octets in which a value is staged and stored, seen as named fields. All fields of a value are
// numbers at a place in big-endian octets; they differ in how they are written in JSON.
namespace Cli {

struct ValueField {
  enum class Form : std::uint8_t {
    number,      // 1722
    identifier,  // 1722, "1722" or "0x6ba"
    address,     // "91:e0:f0:00:fe:01"
    listener,    // "ready" or 2
  };
  std::string_view name;
  Form form;
  std::uint8_t offset;
  std::uint8_t size;       // octets
  std::uint64_t max;       // of the number
  std::uint8_t shift = 0;  // bits to the right of it in its octets
};

// Fields of a type that the application has; the first is the one that identifies the declaration.
std::span<const ValueField> fieldsOf(Mrp::MrpApplication application, std::uint8_t type);
// Octets of the whole value.
std::size_t valueSize(Mrp::MrpApplication application, std::uint8_t type);
// The number of a field in a value of full size.
std::uint64_t fieldOf(const ValueField& field, OctetSpan value);
// The key under which a value of full size is stored.
std::uint64_t keyOf(Mrp::MrpApplication application, std::uint8_t type, OctetSpan value);

// From an object of fields or from hexadecimal text. Fields that are absent are 0, except the one
// that identifies the declaration; members with other names are ignored. Throws BadInput, which
// begins with `where`.
Octets valueFromJson(Mrp::MrpApplication application, std::uint8_t type,
                     const nlohmann::ordered_json& json, const std::string& where);
// From hexadecimal text of exactly the value's octets.
Octets valueFromHex(Mrp::MrpApplication application, std::uint8_t type, std::string_view hex,
                    const std::string& where);

}  // namespace Cli
