#include "agent/daemon/config/Load.h"

#include <algorithm>

#include "agent/daemon/config/Element.h"
#include "agent/daemon/config/TomlFile.h"

namespace Daemon {
namespace {

// Rules that join several keys. Each complains at the place of the key that is most likely wrong.
class Rules {
 public:
  explicit Rules(Loaded& loaded) : loaded_(loaded), c_(loaded.config) {}

  void check() {
    modes();
    if (c_.standby && c_.state.empty()) {
      refuse({"agent.standby"}, "standby needs agent.state, a file that both agents use");
    }
    if (c_.socket == c_.querySocket) {
      refuse({"agent.query-socket", "agent.socket"}, "another path than agent.socket");
    }
    for (const std::string& port : c_.ports) {
      if (!std::ranges::count(c_.exclude, port)) continue;
      refuse({"agent.exclude", "agent.ports"}, "a port stands in ports or in exclude: " + port);
    }
    times("mvrp.leave-time", c_.mvrpLeaveTime, "mvrp.leave-all-time", c_.mvrpLeaveAllTime);
    times("msrp.leave-time", c_.msrpLeaveTime, "msrp.leave-all-time", c_.msrpLeaveAllTime);
    if (c_.delta.a + c_.delta.b > 100) {
      refuse({"msrp.delta"}, "per cent of a port's rate, of all classes together at most 100");
    }
    for (const auto& [name, port] : c_.port) portRules("port." + name, port);
  }

 private:
  void modes() {
    if (loaded_.places.empty() && loaded_.file.empty()) {
      loaded_.errors.push_back(
          "no configuration: /etc/mrp/mrp.toml, --config FILE, --bridge NAME or --ports NAMES is "
          "needed");
      return;
    }
    if (c_.mode.empty()) c_.mode = c_.bridge.empty() ? "station" : "bridge";
    if (c_.bridgeMode() && c_.bridge.empty()) {
      refuse({"agent.bridge", "agent.mode"}, "bridge mode needs agent.bridge, a name");
    }
    if (!c_.bridgeMode() && !c_.bridge.empty()) {
      refuse({"agent.bridge", "agent.mode"}, "none in station mode");
    }
    if (!c_.bridgeMode() && c_.ports.empty()) {
      refuse({"agent.ports", "agent.mode"}, "station mode needs agent.ports, at least one name");
    }
  }

  void times(const std::string& leaveKey, double leave, const std::string& leaveAllKey,
             double leaveAll) {
    if (leaveAll > 2 * leave) return;
    refuse({leaveAllKey, leaveKey}, "a number of seconds, above twice the leave time, to 3600");
  }

  void portRules(const std::string& path, const PortConfig& port) {
    Mrp::VlanSet both = port.fixed & port.forbidden;
    if (!both.empty()) {
      refuse({path + ".forbidden", path + ".fixed"}, "a VLAN is fixed or forbidden, not both");
    }
    if (!port.leaveTime && !port.leaveAllTime) return;
    const auto against = [&](double leave, double leaveAll) {
      if (port.leaveAllTime.value_or(leaveAll) > 2 * port.leaveTime.value_or(leave)) return false;
      refuse({path + ".leave-all-time", path + ".leave-time"},
             "a number of seconds, above twice the leave time, to 3600");
      return true;
    };
    if (!against(c_.mvrpLeaveTime, c_.mvrpLeaveAllTime)) {
      against(c_.msrpLeaveTime, c_.msrpLeaveAllTime);
    }
  }

  // Complains of the first of these keys that was given.
  void refuse(std::initializer_list<std::string> paths, const std::string& allowed) {
    for (const std::string& path : paths) {
      const auto place = loaded_.places.find(path);
      if (place == loaded_.places.end()) continue;
      loaded_.errors.push_back(place->second + ": " + path + ": " + allowed);
      return;
    }
    const std::string file = loaded_.file.empty() ? "options" : loaded_.file;
    loaded_.errors.push_back(file + ": " + *paths.begin() + ": " + allowed);
  }

  Loaded& loaded_;
  Config& c_;
};

void readOptions(std::span<const OptionText> options, Loaded& loaded) {
  for (const OptionText& option : options) {
    const Key& key = *option.key;
    std::string wrong;
    if (const auto value = valueOf(key, writtenOf(key, option.name, option.texts), wrong)) {
      key.set(&loaded.config, *value);
    } else {
      loaded.errors.push_back(wrong + ": " + key.path() + ": " + std::string(key.allowed));
    }
    loaded.places[key.path()] = option.name;
  }
}

}  // namespace

Loaded load(const std::string& file, std::span<const OptionText> options) {
  Loaded loaded;
  loaded.file = file;
  if (!file.empty()) readToml(file, loaded);
  readOptions(options, loaded);
  // Rules between keys say nothing useful of values that were not taken.
  if (loaded.errors.empty()) Rules(loaded).check();
  return loaded;
}

std::vector<std::string> changesForLife(const Config& running, const Loaded& later) {
  std::vector<std::string> errors;
  for (const Key& key : keys()) {
    if (!key.fixedForLife || key.get(&running) == key.get(&later.config)) continue;
    const auto place = later.places.find(key.path());
    errors.push_back((place == later.places.end() ? later.file : place->second) + ": " +
                     key.path() + ": " + tomlText(*key.get(&running)) +
                     ", as it was when the agent started");
  }
  return errors;
}

}  // namespace Daemon
