#pragma once

#include <nlohmann/json_fwd.hpp>

#include "platform/reactor/Attributes.h"

namespace Platform::Host {

// An entity as JSON: one member an attribute that can be read, in the order of its description.
// Octets are hexadecimal text, collections objects by key, times seconds, no value is null.
nlohmann::ordered_json jsonDump(const Described& object);
nlohmann::ordered_json jsonDump(const Value& value);

// Two lower-case digits an octet.
std::string hexText(std::span<const std::uint8_t> octets);

}  // namespace Platform::Host
