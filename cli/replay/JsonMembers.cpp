#include "cli/replay/JsonMembers.h"

#include <charconv>

#include "cli/BadInput.h"

namespace Cli {
namespace {

// Times are kept as nanoseconds in 63 bits; one second below that is left for the end of a run.
constexpr double kMaxSeconds = 9.2e9;

std::optional<std::uint8_t> digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint8_t>(c - 'A' + 10);
  return std::nullopt;
}

}  // namespace

std::optional<Octets> octetsFromHex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  Octets octets;
  octets.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const auto high = digit(text[i]);
    const auto low = digit(text[i + 1]);
    if (!high || !low) return std::nullopt;
    octets.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
  }
  return octets;
}

std::optional<std::uint64_t> wholeNumber(std::string_view digits, int base) {
  std::uint64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stopped, error] = std::from_chars(digits.data(), end, number, base);
  if (error != std::errc{} || stopped != end) return std::nullopt;
  return number;
}

bool isTime(double seconds) { return seconds >= 0 && seconds < kMaxSeconds; }

std::string shown(const nlohmann::ordered_json& json) {
  if (json.is_structured()) return json.is_array() ? "a list" : "an object";
  return json.dump();
}

JsonMembers::JsonMembers(const Json& object, const std::string& where)
    : object_(object), where_(where) {
  if (!object.is_object()) refuse("not a JSON object");
}

void JsonMembers::refuse(const std::string& text) const { throw BadInput(where_, text); }

void JsonMembers::refuseMember(const char* name, const std::string& what) const {
  refuse("\"" + std::string(name) + "\" is not " + what);
}

const JsonMembers::Json& JsonMembers::member(const char* name) const {
  const auto found = object_.find(name);
  if (found == object_.end()) refuse("\"" + std::string(name) + "\" is missing");
  return *found;
}

const std::string& JsonMembers::text(const char* name) const {
  const Json& json = member(name);
  if (!json.is_string()) refuseMember(name, "a text");
  return json.get_ref<const std::string&>();
}

const std::string& JsonMembers::port(const char* name) const {
  const std::string& port = text(name);
  if (port.empty()) refuseMember(name, "the name of a port");
  return port;
}

std::vector<std::string> JsonMembers::ports(const char* name) const {
  const Json& json = member(name);
  if (!json.is_array()) refuseMember(name, "a list of ports");
  std::vector<std::string> ports;
  for (const Json& port : json) {
    if (!port.is_string() || port.get_ref<const std::string&>().empty()) {
      refuseMember(name, "a list of ports");
    }
    ports.push_back(port.get<std::string>());
  }
  return ports;
}

bool JsonMembers::boolean(const char* name) const {
  const Json& json = member(name);
  if (!json.is_boolean()) refuseMember(name, "true or false");
  return json.get<bool>();
}

std::uint64_t JsonMembers::number(const char* name, std::uint64_t max) const {
  const Json& json = member(name);
  if (!json.is_number_unsigned() || json.get<std::uint64_t>() > max) {
    refuseMember(name, "a whole number of 0 to " + std::to_string(max));
  }
  return json.get<std::uint64_t>();
}

Platform::Seconds JsonMembers::seconds(const char* name) const {
  const Json& json = member(name);
  if (!json.is_number() || !isTime(json.get<double>())) {
    refuseMember(name, "a number of seconds from 0 on");
  }
  return json.get<double>();
}

Octets JsonMembers::hex(const char* name) const {
  auto octets = octetsFromHex(text(name));
  if (!octets) refuseMember(name, "hexadecimal text of whole octets");
  return *std::move(octets);
}

}  // namespace Cli
