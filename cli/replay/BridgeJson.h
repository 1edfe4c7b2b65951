#pragma once

#include <nlohmann/json.hpp>

#include "cli/replay/FinalState.h"

// The decisions of a bridge as JSON.
namespace Cli {

nlohmann::ordered_json bridgeJson(const Mrp::ReservationState& state);
nlohmann::ordered_json bridgeJson(const Mrp::SlopeState& state);
nlohmann::ordered_json bridgeJson(const Mrp::BoundaryState& state);
// Null without a bridge.
nlohmann::ordered_json bridgeJson(const BridgeState& state);

}  // namespace Cli
