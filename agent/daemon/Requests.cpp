#include "agent/daemon/Requests.h"

#include <set>

#include "agent/daemon/Methods.h"
#include "agent/daemon/config/VlanRanges.h"

namespace Daemon {
namespace {

using Mrp::Registration;
using Mrp::VlanSet;
using Rpc::Json;

// What the configuration alone says of a port.
RegistrationSets configuredRegistrations(const Config& config, const std::string& port) {
  const PortConfig& own = config.portConfig(port);
  const std::string& rest = own.registration.value_or(config.registration);
  RegistrationSets sets;
  if (rest == "fixed") sets.fixed = VlanSet::all();
  if (rest == "forbidden") sets.forbidden = VlanSet::all();
  sets.fixed = (sets.fixed - own.forbidden) | own.fixed;
  sets.forbidden = (sets.forbidden - own.fixed) | own.forbidden;
  return sets;
}

// Throws for anything but what vlansJson() gives, as nlohmann::json does.
VlanSet vlansOf(const Json& list) {
  VlanSet vlans;
  for (const Json& range : list) {
    const auto some = vlansFrom(range.get_ref<const std::string&>());
    if (!some) throw std::invalid_argument("VLANs");
    vlans |= *some;
  }
  return vlans;
}

}  // namespace

// --- Commands ------------------------------------------------------------------------------------

void Requests::declare(const Config&, const std::string& port, const VlanSet& vlans) {
  Scope& scope = port.empty() ? all_ : port_[port];
  scope.declared |= vlans;
  scope.withdrawn -= vlans;
  if (!port.empty()) return;
  for (auto& [name, own] : port_) own.withdrawn -= vlans;
}

// A command's own declaration goes first; without one the configuration's is overridden.
void Requests::withdraw(Scope& scope, const VlanSet& configured, const VlanSet& vlans) {
  const VlanSet asked = scope.declared & vlans;
  scope.declared -= asked;
  scope.withdrawn |= configured & (vlans - asked);
}

void Requests::withdraw(const Config& config, const std::string& port, const VlanSet& vlans) {
  if (!port.empty()) {
    // What every port declares counts as configured here.
    const VlanSet everywhere = (config.declare - all_.withdrawn) | all_.declared;
    return withdraw(port_[port], config.portConfig(port).declare | everywhere, vlans);
  }
  withdraw(all_, config.declare, vlans);
  for (const auto& [name, own] : config.port) {
    if (!own.declare.empty()) port_[name];
  }
  for (auto& [name, own] : port_) withdraw(own, config.portConfig(name).declare, vlans);
}

void Requests::registrationIs(const std::string& port, const VlanSet& vlans,
                              Registration registration) {
  Overrides& own = registration_[port];
  for (VlanSet* set : {&own.normal, &own.fixed, &own.forbidden}) *set -= vlans;
  switch (registration) {
    case Registration::normal:
      own.normal |= vlans;
      break;
    case Registration::fixed:
      own.fixed |= vlans;
      break;
    case Registration::forbidden:
      own.forbidden |= vlans;
      break;
  }
}

void Requests::declare(const std::string& port, const Id& id, const Image& image) {
  (port.empty() ? all_ : port_[port]).streams[id] = image;
}

bool Requests::withdraw(const std::string& port, const Id& id) {
  if (!port.empty()) {
    const auto own = port_.find(port);
    return own != port_.end() && own->second.streams.erase(id) > 0;
  }
  bool any = all_.streams.erase(id) > 0;
  for (auto& [name, own] : port_) any |= own.streams.erase(id) > 0;
  return any;
}

// --- What comes of them --------------------------------------------------------------------------

VlanSet Requests::vlans(const Config& config, const std::string& port) const {
  const VlanSet everywhere = (config.declare - all_.withdrawn) | all_.declared;
  const auto own = port_.find(port);
  if (own == port_.end()) return everywhere | config.portConfig(port).declare;
  return ((everywhere | config.portConfig(port).declare) - own->second.withdrawn) |
         own->second.declared;
}

RegistrationSets Requests::registrations(const Config& config, const std::string& port) const {
  RegistrationSets sets = configuredRegistrations(config, port);
  const auto own = registration_.find(port);
  if (own == registration_.end()) return sets;
  const Overrides& o = own->second;
  sets.fixed = (sets.fixed - o.normal - o.forbidden) | o.fixed;
  sets.forbidden = (sets.forbidden - o.normal - o.fixed) | o.forbidden;
  return sets;
}

std::map<Requests::Id, Requests::Image> Requests::streams(const std::string& port) const {
  const auto own = port_.find(port);
  std::map<Id, Image> streams = own == port_.end() ? std::map<Id, Image>() : own->second.streams;
  streams.insert(all_.streams.begin(), all_.streams.end());
  return streams;
}

// --- Changes of the configuration ----------------------------------------------------------------

void Requests::configured(const Config& before, const Config& now) {
  // What was overridden is not, once the file says something else of that VLAN.
  const auto changed = [](const VlanSet& a, const VlanSet& b) { return (a - b) | (b - a); };
  all_.withdrawn -= changed(before.declare, now.declare);
  std::set<std::string> names;
  for (const auto& [name, own] : port_) names.insert(name);
  for (const auto& [name, own] : registration_) names.insert(name);
  for (const std::string& name : names) {
    if (const auto own = port_.find(name); own != port_.end()) {
      own->second.withdrawn -=
          changed(before.portConfig(name).declare, now.portConfig(name).declare);
    }
    const auto own = registration_.find(name);
    if (own == registration_.end()) continue;
    const RegistrationSets was = configuredRegistrations(before, name);
    const RegistrationSets is = configuredRegistrations(now, name);
    const VlanSet other = changed(was.fixed, is.fixed) | changed(was.forbidden, is.forbidden);
    Overrides& o = own->second;
    for (VlanSet* set : {&o.normal, &o.fixed, &o.forbidden}) *set -= other;
  }
}

// --- Saving --------------------------------------------------------------------------------------

Json Requests::saved(const Config& config) const {
  const auto scopeJson = [](const Scope& scope) {
    Json streams = Json::array();
    for (const auto& [id, image] : scope.streams) {
      streams.push_back({{"type", id.first}, {"key", id.second}, {"value", image}});
    }
    return Json{{"declared", vlansJson(scope.declared)},
                {"withdrawn", vlansJson(scope.withdrawn)},
                {"streams", std::move(streams)}};
  };
  Json ports = Json::object();
  for (const auto& [name, scope] : port_) ports[name] = scopeJson(scope);
  Json registrations = Json::object();
  for (const auto& [name, own] : registration_) {
    registrations[name] = {{"normal", vlansJson(own.normal)},
                           {"fixed", vlansJson(own.fixed)},
                           {"forbidden", vlansJson(own.forbidden)}};
  }
  Json files = Json::object();
  for (const auto& [name, own] : config.port) {
    const RegistrationSets sets = configuredRegistrations(config, name);
    files[name] = {{"declare", vlansJson(own.declare)},
                   {"fixed", vlansJson(sets.fixed)},
                   {"forbidden", vlansJson(sets.forbidden)}};
  }
  return {{"all", scopeJson(all_)},
          {"ports", std::move(ports)},
          {"registrations", std::move(registrations)},
          {"configured",
           {{"declare", vlansJson(config.declare)},
            {"registration", config.registration},
            {"ports", std::move(files)}}}};
}

bool Requests::restore(const Json& saved, const Config& now) {
  const auto scopeOf = [](const Json& json) {
    Scope scope{vlansOf(json.at("declared")), vlansOf(json.at("withdrawn")), {}};
    for (const Json& stream : json.at("streams")) {
      scope
          .streams[{stream.at("type").get<std::uint8_t>(), stream.at("key").get<std::uint64_t>()}] =
          stream.at("value").get<Image>();
    }
    return scope;
  };
  try {
    Requests read;
    read.all_ = scopeOf(saved.at("all"));
    for (const auto& [name, scope] : saved.at("ports").items()) read.port_[name] = scopeOf(scope);
    for (const auto& [name, own] : saved.at("registrations").items()) {
      read.registration_[name] = {vlansOf(own.at("normal")), vlansOf(own.at("fixed")),
                                  vlansOf(own.at("forbidden"))};
    }
    Config before;
    const Json& configured = saved.at("configured");
    before.declare = vlansOf(configured.at("declare"));
    before.registration = configured.at("registration").get<std::string>();
    for (const auto& [name, own] : configured.at("ports").items()) {
      PortConfig& port = before.port[name];
      port.declare = vlansOf(own.at("declare"));
      // As sets of single VLANs the port's registrations read the same.
      port.fixed = vlansOf(own.at("fixed"));
      port.forbidden = vlansOf(own.at("forbidden"));
      port.registration = "normal";
    }
    read.configured(before, now);
    *this = std::move(read);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace Daemon
