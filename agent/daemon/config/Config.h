#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/bridge/VlanSet.h"

namespace Daemon {

// One SR class that every port declares as a domain (IEEE 802.1Q-2018 35.2.2.9).
struct SrClass {
  std::uint8_t id = 0;        // 6 is SR class A, 5 is B
  std::uint8_t priority = 0;  // 0..7
  std::uint16_t vlan = 0;     // 1..4094
  friend bool operator==(const SrClass&, const SrClass&) = default;
};

// A number for each SR class, A (6) and B (5).
struct ClassNumbers {
  std::uint32_t a = 0;
  std::uint32_t b = 0;
  friend bool operator==(const ClassNumbers&, const ClassNumbers&) = default;
};

// What `[port.NAME]` says; what is absent follows the application's own setting.
struct PortConfig {
  bool mvrp = true;
  bool msrp = true;
  Mrp::VlanSet declare;
  std::optional<std::string> registration;
  Mrp::VlanSet fixed;
  Mrp::VlanSet forbidden;
  std::optional<double> leaveTime;     // seconds
  std::optional<double> leaveAllTime;  // seconds
  std::optional<std::uint64_t> rate;   // bit/s; otherwise that of the link
  bool boundary = false;
  friend bool operator==(const PortConfig&, const PortConfig&) = default;
};

// What the agent was told by its file and its options. Keys.cpp says which key each member is, and
// what it may hold.
struct Config {
  std::string mode;
  std::string bridge;
  std::vector<std::string> ports;
  std::vector<std::string> exclude;
  std::string socket = "/run/mrp/mrp.sock";
  std::string querySocket = "/run/mrp/query.sock";
  std::string group;
  std::string user;
  std::string state;
  bool standby = false;
  bool program = true;
  std::string staticEntries = "fixed";
  std::string spanningTree = "kernel";
  std::string onStop = "withdraw";
  std::string log = "info";
  std::uint32_t account = 65536;
  std::uint32_t frameMemory = 4194304;

  bool mvrpEnabled = true;
  double mvrpLeaveTime = 0.6;
  double mvrpLeaveAllTime = 10.0;
  Mrp::VlanSet declare;
  std::string registration = "normal";
  std::uint32_t vlanLimit = 4096;

  bool msrpEnabled = false;
  double msrpLeaveTime = 0.6;
  double msrpLeaveAllTime = 10.0;
  std::vector<SrClass> srClasses{{6, 3, 2}, {5, 2, 2}};
  ClassNumbers delta{75, 0};  // per cent
  ClassNumbers latency;       // nanoseconds
  bool talkerPruning = false;
  std::uint32_t maxFanIn = 0;   // ports; 0: any number
  std::uint32_t overhead = 43;  // octets
  double recovery = 30.0;       // seconds; 0: never

  std::map<std::string, PortConfig> port;

  bool bridgeMode() const { return mode == "bridge"; }
  // Settings of a port; the defaults when the file says nothing of it.
  const PortConfig& portConfig(const std::string& name) const {
    static const PortConfig none;
    const auto it = port.find(name);
    return it == port.end() ? none : it->second;
  }
  friend bool operator==(const Config&, const Config&) = default;
};

}  // namespace Daemon
