#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>

#include "agent/msrp/StreamForwarding.h"
#include "agent/mvrp/MvrpBridge.h"
#include "cli/replay/Application.h"
#include "platform/reactor/Value.h"
#include "platform/time/Seconds.h"

// What the inputs of a replay ask for, whatever kind of file it came from.
namespace Cli {

struct FrameAction {
  std::string port;
  Octets octets;
  Platform::Seconds unread;  // how long the frame waits on the socket
};

struct RequestAction {
  // Port of the request, the queued ports given together. Without it each port in turn is queued
  // and is the request's own.
  std::optional<std::string> port;
  std::vector<std::string> ports;
  std::uint8_t event = 0;
  std::uint8_t type = 0;
  std::optional<Octets> value;  // for the transmit record of the type
};

struct EnableAction {
  std::string port;
  bool enable = true;
};

struct LeaveAllAction {
  std::string port;
};

struct RoleAction {
  std::string stp;
  std::string mst;
  std::string port;
  std::uint32_t role = 0;
};

// A field of the configuration. A field that is kept for each port has a port; its entry goes when
// there is no value.
struct ConfigAction {
  std::string field;
  std::optional<std::string> port;
  std::optional<Platform::Value> value;
};

struct SwitchAction {
  enum class What : std::uint8_t { flood, recycled, joinDiscard };
  What what = What::flood;
  bool on = false;
};

struct ClogAction {
  std::uint64_t octets = 0;
};

struct ActivateAction {};

// --- Of a bridge
// -----------------------------------------------------------------------------------

// By SR class number; what is missing stays as it is.
using ByClass = std::map<std::uint64_t, std::uint32_t>;

struct BridgePortAction {
  std::string port;
  std::optional<std::uint64_t> rate;  // bits a second
  std::optional<std::uint32_t> maxPayload;
  std::optional<bool> capable;
  ByClass delta;    // per cent
  ByClass latency;  // nanoseconds
};

struct EgressAction {
  std::string port;
  std::uint16_t vlan = 0;
  Mrp::VlanEgress is = Mrp::VlanEgress::allowed;
};

struct AddressAction {
  std::string port;
  std::uint16_t vlan = 0;
  Platform::EthAddr dmac;
  bool registered = false;
};

struct BridgeAction {
  std::optional<bool> talkerPruning;
  std::optional<std::uint32_t> fanIn;
  std::optional<std::uint32_t> overhead;
  std::optional<std::uint32_t> streamLimit;
  std::optional<std::uint32_t> entryLimit;
  std::optional<Platform::Seconds> recovery;  // never: not by time
};

struct DeclareAction {
  std::vector<std::uint16_t> vlans;
  std::optional<std::string> port;  // every one without
  bool declare = true;
};

struct RegistrationAction {
  std::string port;
  std::optional<std::vector<std::uint16_t>> vlans;  // all without
  Mrp::Registration is = Mrp::Registration::normal;
};

struct Action {
  // Time since the start of the run. Negative for a packet that was captured before the first
  // one of its file: it comes first.
  Platform::Seconds at;
  std::variant<FrameAction, RequestAction, EnableAction, LeaveAllAction, RoleAction, ConfigAction,
               SwitchAction, ClogAction, ActivateAction, BridgePortAction, EgressAction,
               AddressAction, BridgeAction, DeclareAction, RegistrationAction>
      what;
  // Of the packet in its capture or of the line in its scenario, from 1.
  std::uint32_t number = 0;
};

// Names of the ports that an action names.
std::vector<std::string> portsOf(const Action& action);

}  // namespace Cli
