#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/daemon/config/Config.h"
#include "agent/mvrp/MvrpBridge.h"
#include "agent/rpc/Message.h"

namespace Daemon {

// What a port registers whatever arrives, and what it never registers.
struct RegistrationSets {
  Mrp::VlanSet fixed;
  Mrp::VlanSet forbidden;
  friend bool operator==(const RegistrationSets&, const RegistrationSets&) = default;
};

// What is to be declared and registered: by the configuration, and by commands, which win. What a
// command asked for stays until another command, or a change of that very key of the
// configuration, says otherwise.
//
// A declaration has two sources, configuration and command, and ends when both are gone. A command
// that withdraws what only the configuration declares overrides it.
class Requests {
 public:
  using Image = std::vector<std::uint8_t>;  // value of an attribute
  using Id = std::pair<std::uint8_t, std::uint64_t>;  // attribute type and key

  // `port` empty: on every port.
  void declare(const Config& config, const std::string& port, const Mrp::VlanSet& vlans);
  void withdraw(const Config& config, const std::string& port, const Mrp::VlanSet& vlans);
  void registrationIs(const std::string& port, const Mrp::VlanSet& vlans,
                      Mrp::Registration registration);
  void declare(const std::string& port, const Id& id, const Image& image);
  // False when no command has asked for it.
  bool withdraw(const std::string& port, const Id& id);

  Mrp::VlanSet vlans(const Config& config, const std::string& port) const;
  RegistrationSets registrations(const Config& config, const std::string& port) const;
  // Streams and listeners.
  std::map<Id, Image> streams(const std::string& port) const;

  // Forgets what the change of a key of the configuration takes the place of.
  void configured(const Config& before, const Config& now);

  // All of it, and of a configuration what configured() compares.
  Rpc::Json saved(const Config& config) const;
  // Takes it back, and up to the configuration of now. False, and nothing is taken, for anything
  // that saved() did not give.
  bool restore(const Rpc::Json& saved, const Config& now);

 private:
  struct Scope {
    Mrp::VlanSet declared;
    Mrp::VlanSet withdrawn;  // though configured
    std::map<Id, Image> streams;
  };
  struct Overrides {
    Mrp::VlanSet normal;
    Mrp::VlanSet fixed;
    Mrp::VlanSet forbidden;
  };
  void withdraw(Scope& scope, const Mrp::VlanSet& configured, const Mrp::VlanSet& vlans);

  Scope all_;
  std::map<std::string, Scope> port_;
  std::map<std::string, Overrides> registration_;
};

}  // namespace Daemon
