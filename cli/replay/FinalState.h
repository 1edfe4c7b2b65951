#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "agent/bridge/VlanSet.h"
#include "agent/msrp/StreamState.h"
#include "cli/replay/Application.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpStatus.h"

namespace Cli {

// One attribute as outputs and status files show it.
struct AttributeState {
  std::string port;
  std::uint8_t type = 0;
  std::uint64_t key = 0;
  Mrp::MrpApplicantState applicant{};
  Mrp::MrpRegistrarState registrar{};
  Octets value;
};

struct LeaveAllState {
  std::string port;
  std::uint8_t type = 0;
  Platform::Seconds period;
  std::optional<Platform::Seconds> due;  // absolute; none without a pending entry
};

// A port of a bridge of VLANs.
struct VlanPortState {
  std::string port;
  Mrp::VlanSet registered;
  Mrp::VlanSet declared;
  Mrp::VlanSet contributes;
};

struct MvrpBridgeState {
  std::vector<VlanPortState> ports;
};

struct MsrpBridgeState {
  std::vector<Mrp::ReservationState> reservations;
  std::vector<Mrp::SlopeState> slopes;
  std::vector<Mrp::BoundaryState> boundaries;
  std::vector<Mrp::StreamState> streams;
};

// None without a bridge.
using BridgeState = std::variant<std::monostate, MvrpBridgeState, MsrpBridgeState>;

struct FinalState {
  std::vector<std::pair<std::string, std::uint64_t>> counters;  // empty in standby
  std::uint64_t refusedEvents = 0;
  std::vector<AttributeState> attributes;
  std::vector<LeaveAllState> leaveAll;
  BridgeState bridge;
};

// Which records of a database are wanted.
enum class Records : std::uint8_t {
  visible,    // what a look-up finds: pending additions, no pending deletions
  committed,  // what is published: pending deletions, no pending additions
};

// By port, type and key.
std::vector<AttributeState> attributesOf(const Mrp::MrpApplicationDatabase& database,
                                         Records records);
FinalState finalStateOf(const Mrp::Engine& engine);

}  // namespace Cli
