#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "cli/replay/Application.h"
#include "platform/time/Seconds.h"

namespace Cli {

// Both digits of every octet, of either case; nothing for any other text.
std::optional<Octets> octetsFromHex(std::string_view text);
// Digits of the base and nothing else; nothing when the number exceeds 64 bits.
std::optional<std::uint64_t> wholeNumber(std::string_view digits, int base);
// Whether a number of seconds is a time that can be kept: not negative, below 292 years.
bool isTime(double seconds);
// A scalar as it is written, a list or an object by that word: for messages. Never long, whatever
// the nesting.
std::string shown(const nlohmann::ordered_json& json);

// The members of one JSON object. Every reader throws BadInput, which begins with `where`, when the
// member is missing, has another type or is out of range.
class JsonMembers {
 public:
  using Json = nlohmann::ordered_json;

  // Refuses what is not an object. Neither is copied.
  JsonMembers(const Json& object, const std::string& where);

  const std::string& where() const { return where_; }
  bool has(const char* name) const { return object_.contains(name); }
  const Json& member(const char* name) const;

  const std::string& text(const char* name) const;
  // Text that is not empty: the name of a port.
  const std::string& port(const char* name) const;
  std::vector<std::string> ports(const char* name) const;
  bool boolean(const char* name) const;
  std::uint64_t number(const char* name, std::uint64_t max) const;
  Platform::Seconds seconds(const char* name) const;
  Octets hex(const char* name) const;

  [[noreturn]] void refuse(const std::string& text) const;
  // "NAME" is not `what`.
  [[noreturn]] void refuseMember(const char* name, const std::string& what) const;

 private:
  const Json& object_;
  const std::string& where_;
};

}  // namespace Cli
