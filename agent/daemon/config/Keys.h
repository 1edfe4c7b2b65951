#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "agent/daemon/config/Config.h"

namespace Daemon {

// What a key may hold.
using Value = std::variant<bool, std::string, double, std::uint32_t, std::uint64_t, ClassNumbers,
                           std::vector<std::string>, Mrp::VlanSet, std::vector<SrClass>>;

// One key of the configuration: everything that reading the file, the options, the manual and a
// reload need to know of it.
struct Key {
  enum class Type : std::uint8_t {
    boolean,
    text,
    seconds,
    count,
    rate,
    perClass,
    texts,
    vlans,
    classes,
  };

  std::string_view table;  // "agent", "mvrp", "msrp" or "port"
  std::string_view name;
  Type type;
  std::string_view allowed;  // as an error says it
  std::string_view help;     // one sentence for the manual and --help
  // Of a number.
  double min = 0;
  double max = 0;
  bool orZero = false;  // is allowed, too
  // The texts that are allowed, with '|' between; empty: any.
  std::string_view choices{};
  // Of a text, or of each one in a list; null: any.
  bool (*good)(std::string_view text) = nullptr;
  // Another value needs another process.
  bool fixedForLife = false;

  // The member of a Config, or of a PortConfig where the table is "port". Nothing is returned where
  // an optional member is absent.
  void (*set)(void* target, const Value& value) = nullptr;
  std::optional<Value> (*get)(const void* target) = nullptr;

  // "mvrp.leave-time"; `port` is the port's name where the table is "port".
  std::string path(std::string_view port = {}) const;
  // Its options, empty when it is for the file alone: "--leave-time", "--mvrp-leave-time". Those of
  // MVRP and the agent come before MSRP's of the same name.
  std::vector<std::string> options() const;
};

// The keys of [agent], [mvrp] and [msrp], and those of [port.NAME].
std::span<const Key> keys();
std::span<const Key> portKeys();

// A value as a file would say it.
std::string tomlText(const Value& value);

}  // namespace Daemon
