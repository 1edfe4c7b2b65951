#include "agent/daemon/config/Keys.h"

#include <sys/un.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <type_traits>

#include "agent/daemon/config/VlanRanges.h"

namespace Daemon {
namespace {

template <class T>
struct Plain {
  using Type = T;
};
template <class T>
struct Plain<std::optional<T>> {
  using Type = T;
};
template <class T>
struct MemberOf;
template <class C, class T>
struct MemberOf<T C::*> {
  using Class = C;
  using Type = typename Plain<T>::Type;
};

template <class T>
constexpr Key::Type typeOf() {
  using enum Key::Type;
  if constexpr (std::is_same_v<T, bool>) return boolean;
  if constexpr (std::is_same_v<T, std::string>) return text;
  if constexpr (std::is_same_v<T, double>) return seconds;
  if constexpr (std::is_same_v<T, std::uint32_t>) return count;
  if constexpr (std::is_same_v<T, std::uint64_t>) return rate;
  if constexpr (std::is_same_v<T, ClassNumbers>) return perClass;
  if constexpr (std::is_same_v<T, std::vector<std::string>>) return texts;
  if constexpr (std::is_same_v<T, Mrp::VlanSet>) return vlans;
  if constexpr (std::is_same_v<T, std::vector<SrClass>>) return classes;
}

// What of a row goes beyond name, allowed values and help.
struct Limits {
  double min = 0;
  double max = 0;
  std::string_view choices{};
  bool (*good)(std::string_view) = nullptr;
  bool fixedForLife = false;
  bool orZero = false;
};

template <auto Member>
constexpr Key key(std::string_view table, std::string_view name, std::string_view allowed,
                  std::string_view help, const Limits& limits = {}) {
  using Class = typename MemberOf<decltype(Member)>::Class;
  using Type = typename MemberOf<decltype(Member)>::Type;
  Key k{table, name, typeOf<Type>(), allowed, help};
  k.min = limits.min;
  k.max = limits.max;
  k.choices = limits.choices;
  k.good = limits.good;
  k.fixedForLife = limits.fixedForLife;
  k.orZero = limits.orZero;
  k.set = [](void* target, const Value& value) {
    static_cast<Class*>(target)->*Member = std::get<Type>(value);
  };
  k.get = [](const void* target) -> std::optional<Value> {
    const auto& member = static_cast<const Class*>(target)->*Member;
    if constexpr (requires { member.has_value(); }) {
      if (!member) return std::nullopt;
      return Value(*member);
    } else {
      return Value(member);
    }
  };
  return k;
}

// As the kernel takes names of interfaces.
bool isInterface(std::string_view text) {
  return !text.empty() && text.size() < 16 && text != "." && text != ".." &&
         std::ranges::none_of(text, [](char c) {
           const auto octet = static_cast<unsigned char>(c);
           return octet <= ' ' || octet == 0x7f || c == '/' || c == ':';
         });
}

bool isSocketPath(std::string_view text) {
  return !text.empty() && text.size() < sizeof(sockaddr_un::sun_path);
}

constexpr std::string_view kBoolean = "true or false";
constexpr std::string_view kInterface = "the name of an interface";
constexpr std::string_view kInterfaces = "an array of names of interfaces";
constexpr std::string_view kSocket = "a path of at most 107 octets";
constexpr std::string_view kLeaveTime = "a number of seconds, 0.1 to 60";
constexpr std::string_view kLeaveAllTime =
    "a number of seconds, above twice the leave time, to 3600";
constexpr std::string_view kVlans =
    "an array of VLANs (1 to 4094), each a number or a range: [\"10\", \"20-29\"]";
constexpr std::string_view kRegistration = "\"normal\", \"fixed\" or \"forbidden\"";
constexpr std::string_view kRegistrations = "normal|fixed|forbidden";
constexpr Limits kLeaveRange{.min = 0.1, .max = 60};
constexpr Limits kLeaveAllRange{.min = 0.2, .max = 3600};

using C = Config;
using P = PortConfig;

constexpr std::array kKeys{
    key<&C::mode>("agent", "mode", "\"bridge\" or \"station\"",
                  "Whether registrations propagate between the ports of a bridge, or every port "
                  "stands alone. Bridge when a bridge is named, else station.",
                  {.choices = "bridge|station", .fixedForLife = true}),
    key<&C::bridge>("agent", "bridge", kInterface, "The Linux bridge whose ports take part.",
                    {.good = isInterface, .fixedForLife = true}),
    key<&C::ports>("agent", "ports", kInterfaces,
                   "In station mode the ports; in bridge mode the only ones of the bridge to take "
                   "part. A port that does not exist yet is waited for.",
                   {.good = isInterface}),
    key<&C::exclude>("agent", "exclude", kInterfaces, "Ports of the bridge to leave alone.",
                     {.good = isInterface}),
    key<&C::socket>("agent", "socket", kSocket,
                    "Control socket: requests of every kind. Made with permissions 0660.",
                    {.good = isSocketPath, .fixedForLife = true}),
    key<&C::querySocket>("agent", "query-socket", kSocket,
                         "Query socket: requests that change nothing. Made with permissions 0666.",
                         {.good = isSocketPath, .fixedForLife = true}),
    key<&C::group>("agent", "group", "the name of a group", "Group of the sockets.",
                   {.fixedForLife = true}),
    key<&C::user>("agent", "user", "the name of a user",
                  "User to run as once the sockets are open. It must be able to write the folder "
                  "of the state.",
                  {.fixedForLife = true}),
    key<&C::state>("agent", "state", "a path, or \"\" for memory only",
                   "SQLite database that registrations and requests outlive the process in.",
                   {.fixedForLife = true}),
    key<&C::standby>("agent", "standby", kBoolean,
                     "Wait for the lock of the state, then take over. Needs a state.",
                     {.fixedForLife = true}),
    key<&C::program>("agent", "program", kBoolean,
                     "Whether registrations are put into the kernel's bridge."),
    key<&C::staticEntries>("agent", "static", "\"fixed\" or \"ignore\"",
                           "VLANs that somebody else put on a port count as fixed registrations, "
                           "or for nothing.",
                           {.choices = "fixed|ignore"}),
    key<&C::spanningTree>("agent", "spanning-tree", "\"kernel\" or \"none\"",
                          "Where the roles of ports come from: the kernel's bridge, or every port "
                          "forwards.",
                          {.choices = "kernel|none"}),
    key<&C::onStop>("agent", "on-stop", "\"withdraw\" or \"keep\"",
                    "Whether the agent sends a Leave for everything and takes its entries out of "
                    "the bridge when it ends, or leaves all as it is.",
                    {.choices = "withdraw|keep"}),
    key<&C::log>("agent", "log", "\"error\", \"warning\", \"info\" or \"debug\"",
                 "The least important log lines that are written.",
                 {.choices = "error|warning|info|debug"}),
    key<&C::account>("agent", "account", "a number of records, 0 (none) to 16777216",
                     "How many records of what happened are kept of each application, for mrp why; "
                     "48 octets each.",
                     {.max = 16777216, .fixedForLife = true}),
    key<&C::frameMemory>("agent", "frame-memory", "a number of octets, 0 (none) to 1073741824",
                         "How many octets of the last frames are kept, for mrp dump.",
                         {.max = 1073741824, .fixedForLife = true}),

    key<&C::mvrpEnabled>("mvrp", "enabled", kBoolean, "Whether MVRP runs."),
    key<&C::mvrpLeaveTime>("mvrp", "leave-time", kLeaveTime,
                           "How long a registration that was left waits to be declared again.",
                           kLeaveRange),
    key<&C::mvrpLeaveAllTime>("mvrp", "leave-all-time", kLeaveAllTime,
                              "Period in which every declaration is asked for again.",
                              kLeaveAllRange),
    key<&C::declare>("mvrp", "declare", kVlans, "VLANs declared on every port."),
    key<&C::registration>("mvrp", "registration", kRegistration,
                          "Registration of the ports that do not say.",
                          {.choices = kRegistrations}),
    key<&C::vlanLimit>("mvrp", "vlan-limit", "a number, 0 (none) to 4096",
                       "How many VLANs a neighbour may register on one port.", {.max = 4096}),

    key<&C::msrpEnabled>("msrp", "enabled", kBoolean, "Whether MSRP runs."),
    key<&C::msrpLeaveTime>("msrp", "leave-time", kLeaveTime,
                           "How long a registration that was left waits to be declared again.",
                           kLeaveRange),
    key<&C::msrpLeaveAllTime>("msrp", "leave-all-time", kLeaveAllTime,
                              "Period in which every declaration is asked for again.",
                              kLeaveAllRange),
    key<&C::srClasses>("msrp", "sr-classes",
                       "an array of { id = 0 to 6, priority = 0 to 7, vlan = 1 to 4094 }, each id "
                       "once",
                       "SR classes that every port declares as domains."),
    key<&C::delta>("msrp", "delta",
                   "per cent of a port's rate for classes 6 (A) and 5 (B), together at most 100: "
                   "{ 6 = 75, 5 = 0 }",
                   "What streams of a class may reserve of a port's rate, beyond what the class "
                   "above may.",
                   {.max = 100}),
    key<&C::latency>("msrp", "latency",
                     "nanoseconds for classes 6 (A) and 5 (B), 0 to 4294967295: "
                     "{ 6 = 0, 5 = 0 }",
                     "What this bridge adds to the accumulated latency of a stream on each port.",
                     {.max = UINT32_MAX}),
    key<&C::talkerPruning>("msrp", "talker-pruning", kBoolean,
                           "Whether talkers go only to ports where the destination address has a "
                           "permanent entry."),
    key<&C::maxFanIn>("msrp", "max-fan-in", "a number of ports, 0 (no limit) to 65535",
                      "How many ports reserved streams may come in by.", {.max = UINT16_MAX}),
    key<&C::overhead>("msrp", "overhead", "a number of octets, 0 to 255",
                      "What a frame takes of the medium beside its payload.", {.max = 255}),
    key<&C::recovery>("msrp", "recovery", "a number of seconds, 10 to 5400, or 0 (never)",
                      "How long a stream that has changed while it was registered has to stay the "
                      "same to be a new one.",
                      {.min = 10, .max = 5400, .orZero = true}),
};

constexpr std::array kPortKeys{
    key<&P::mvrp>("port", "mvrp", kBoolean, "Whether MVRP runs on this port."),
    key<&P::msrp>("port", "msrp", kBoolean, "Whether MSRP runs on this port."),
    key<&P::declare>("port", "declare", kVlans, "Further VLANs declared on this port."),
    key<&P::registration>("port", "registration", kRegistration,
                          "Registration of the VLANs that are not listed below.",
                          {.choices = kRegistrations}),
    key<&P::fixed>("port", "fixed", kVlans, "VLANs that are registered, whatever arrives."),
    key<&P::forbidden>("port", "forbidden", kVlans,
                       "VLANs that are not registered, whatever arrives."),
    key<&P::leaveTime>("port", "leave-time", kLeaveTime, "Of both applications on this port.",
                       kLeaveRange),
    key<&P::leaveAllTime>("port", "leave-all-time", kLeaveAllTime,
                          "Of both applications on this port.", kLeaveAllRange),
    key<&P::rate>("port", "rate", "a number of bits a second, 1000000 to 1000000000000",
                  "Rate that streams share, where the link's own is not the one meant.",
                  {.min = 1e6, .max = 1e12}),
    key<&P::boundary>("port", "boundary", kBoolean,
                      "Whether no stream passes here, as where the neighbour's clock is not "
                      "synchronised."),
};

std::string inQuotes(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

template <class Items, class Text>
std::string arrayText(const Items& items, Text text) {
  std::string out;
  for (const auto& item : items) out += (out.empty() ? "" : ", ") + text(item);
  return "[" + out + "]";
}

std::string numberText(double number) {
  std::array<char, 32> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  std::string out(text.data(), end);
  return out.find_first_of(".e") == std::string::npos ? out + ".0" : out;
}

struct TomlText {
  std::string operator()(bool v) const { return v ? "true" : "false"; }
  std::string operator()(const std::string& v) const { return inQuotes(v); }
  std::string operator()(double v) const { return numberText(v); }
  std::string operator()(std::uint32_t v) const { return std::to_string(v); }
  std::string operator()(std::uint64_t v) const { return std::to_string(v); }
  std::string operator()(const ClassNumbers& v) const {
    return "{ 6 = " + std::to_string(v.a) + ", 5 = " + std::to_string(v.b) + " }";
  }
  std::string operator()(const std::vector<std::string>& v) const { return arrayText(v, inQuotes); }
  std::string operator()(const Mrp::VlanSet& v) const { return arrayText(rangesOf(v), inQuotes); }
  std::string operator()(const std::vector<SrClass>& v) const {
    return arrayText(v, [](const SrClass& c) {
      return "{ id = " + std::to_string(c.id) + ", priority = " + std::to_string(c.priority) +
             ", vlan = " + std::to_string(c.vlan) + " }";
    });
  }
};

}  // namespace

std::string Key::path(std::string_view port) const {
  std::string path(table);
  if (!port.empty()) (path += '.') += port;
  (path += '.') += name;
  return path;
}

std::vector<std::string> Key::options() const {
  if (table == "port" || type == Type::classes) return {};
  const std::string plain(name);
  if (table == "agent") return {"--" + plain};
  const std::string own = "--" + std::string(table) + "-" + plain;
  const bool taken = table == "msrp" && std::ranges::any_of(kKeys, [&](const Key& k) {
                       return k.name == name && k.table != "msrp";
                     });
  if (taken) return {own};
  return {"--" + plain, own};
}

std::span<const Key> keys() { return kKeys; }
std::span<const Key> portKeys() { return kPortKeys; }

std::string tomlText(const Value& value) { return std::visit(TomlText(), value); }

}  // namespace Daemon
