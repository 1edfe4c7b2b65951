#pragma once

#include <optional>
#include <string>
#include <variant>

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

struct Action {
  // Time since the start of the run. Negative for a packet that was captured before the first
  // one of its file: it comes first.
  Platform::Seconds at;
  std::variant<FrameAction, RequestAction, EnableAction, LeaveAllAction, RoleAction, ConfigAction,
               SwitchAction, ClogAction, ActivateAction>
      what;
};

// Names of the ports that an action names.
std::vector<std::string> portsOf(const Action& action);

}  // namespace Cli
