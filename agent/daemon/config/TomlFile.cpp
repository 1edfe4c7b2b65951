#include "agent/daemon/config/TomlFile.h"

#include <toml++/toml.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "agent/daemon/config/Element.h"

namespace Daemon {
namespace {

constexpr std::string_view kTables = "agent, mvrp, msrp and port.NAME";
constexpr std::size_t kMaxFile = std::size_t{1} << 20;

// One line of text, whatever a file holds.
std::string shown(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  return out;
}

class Reader {
 public:
  Reader(const std::string& file, Loaded& loaded) : file_(file), loaded_(loaded) {}

  void read(const toml::table& root) {
    for (const auto& [name, node] : root) {
      const std::string table = shown(name.str());
      if (table == "port") {
        readPorts(node);
      } else if (table == "agent" || table == "mvrp" || table == "msrp") {
        readTable(node, table, {}, keys(), &loaded_.config);
      } else {
        error(lineOf(name), table, "no such table; there are " + std::string(kTables));
      }
    }
  }

  void error(std::uint32_t line, const std::string& key, std::string_view allowed) {
    loaded_.errors.push_back(where(line) + ": " + key + ": " + std::string(allowed));
  }

 private:
  static std::uint32_t lineOf(const toml::key& key) { return key.source().begin.line; }
  static std::uint32_t lineOf(const toml::node& node) { return node.source().begin.line; }
  std::string where(std::uint32_t line) const { return file_ + ":" + std::to_string(line); }

  void readPorts(const toml::node& node) {
    const toml::table* ports = node.as_table();
    if (!ports) return error(lineOf(node), "port", "tables [port.NAME]");
    const Key& names = *std::ranges::find(keys(), "ports", &Key::name);
    for (const auto& [name, settings] : *ports) {
      const std::string port(name.str());
      if (!names.good(port)) {
        error(lineOf(name), "port." + shown(port), "the name of an interface");
        continue;
      }
      readTable(settings, "port", port, portKeys(), &loaded_.config.port[port]);
    }
  }

  void readTable(const toml::node& node, const std::string& table, const std::string& port,
                 std::span<const Key> known, void* target) {
    const std::string path = port.empty() ? table : table + "." + port;
    const toml::table* members = node.as_table();
    if (!members) return error(lineOf(node), path, "a table");
    for (const auto& [name, value] : *members) {
      const auto key = std::ranges::find_if(
          known, [&, &n = name](const Key& k) { return k.name == n.str() && k.table == table; });
      if (key == known.end()) {
        error(lineOf(name), path + "." + shown(name.str()),
              "no such key; there are " + namesOf(known, table));
        continue;
      }
      readKey(*key, port, value, target);
    }
  }

  static std::string namesOf(std::span<const Key> known, std::string_view table) {
    std::string names;
    for (const Key& key : known) {
      if (key.table == table) (names += names.empty() ? "" : ", ") += key.name;
    }
    return names;
  }

  void readKey(const Key& key, const std::string& port, const toml::node& node, void* target) {
    std::string wrong;
    if (const auto value = valueOf(key, writtenOf(node), wrong)) {
      key.set(target, *value);
    } else {
      loaded_.errors.push_back(wrong + ": " + key.path(port) + ": " + std::string(key.allowed));
    }
    loaded_.places[key.path(port)] = where(lineOf(node));
  }

  Written writtenOf(const toml::node& node) const {
    Written written{node.is_array(), {}, where(lineOf(node))};
    if (const toml::array* array = node.as_array()) {
      for (const toml::node& element : *array) written.elements.push_back(elementOf(element));
    } else {
      const toml::table* const table = node.as_table();
      if (table && !classOf(*table)) {
        written.isArray = true;
        for (const auto& [name, number] : *table) {
          written.elements.push_back(numberOf(name.str(), number));
        }
        return written;
      }
      written.elements.push_back(elementOf(node));
    }
    return written;
  }

  // One of a table of numbers by class: `6 = 75`.
  Element numberOf(std::string_view name, const toml::node& node) const {
    const auto* number = node.as_integer();
    if (name.size() != 1 || name[0] < '0' || name[0] > '9' || !number) {
      return {OtherType(), where(lineOf(node))};
    }
    return {ClassNumber{static_cast<std::uint8_t>(name[0] - '0'), number->get()},
            where(lineOf(node))};
  }

  Element elementOf(const toml::node& node) const {
    const std::string at = where(lineOf(node));
    if (const auto* v = node.as_boolean()) return {v->get(), at};
    if (const auto* v = node.as_integer()) return {v->get(), at};
    if (const auto* v = node.as_floating_point()) return {v->get(), at};
    if (const auto* v = node.as_string()) return {v->get(), at};
    if (const auto* v = node.as_table()) {
      if (const auto srClass = classOf(*v)) return {*srClass, at};
    }
    return {OtherType(), at};
  }

  static std::optional<SrClass> classOf(const toml::table& table) {
    const auto number = [&](std::string_view name, std::int64_t least,
                            std::int64_t most) -> std::optional<std::int64_t> {
      const toml::node* node = table.get(name);
      const auto* value = node ? node->as_integer() : nullptr;
      if (!value || value->get() < least || value->get() > most) return std::nullopt;
      return value->get();
    };
    const auto id = number("id", 0, 6);
    const auto priority = number("priority", 0, 7);
    const auto vlan = number("vlan", Mrp::kMinVlan, Mrp::kMaxVlan);
    if (!id || !priority || !vlan || table.size() != 3) return std::nullopt;
    return SrClass{static_cast<std::uint8_t>(*id), static_cast<std::uint8_t>(*priority),
                   static_cast<std::uint16_t>(*vlan)};
  }

  const std::string& file_;
  Loaded& loaded_;
};

}  // namespace

void readToml(const std::string& file, Loaded& loaded) {
  const auto cannot = [&](const std::string& why) {
    loaded.errors.push_back(file + ": cannot be read: " + why);
  };
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  if (!in || !(text << in.rdbuf())) {
    // An empty file gives no character, which is no failure.
    if (!in.is_open() || errno != 0) return cannot(std::strerror(errno));
  }
  if (text.str().size() > kMaxFile) return cannot("it is larger than 1 MiB");
  Reader reader(file, loaded);
  try {
    reader.read(toml::parse(text.str(), file));
  } catch (const toml::parse_error& error) {
    reader.error(error.source().begin.line, "syntax", shown(error.description()));
  }
}

}  // namespace Daemon
