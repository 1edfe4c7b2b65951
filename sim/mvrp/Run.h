#pragma once

#include <cstdint>
#include <iosfwd>

#include "sim/network/Outcome.h"

namespace Sim {

// --- The promise ---------------------------------------------------------------------------------
// On every hop a registration that its declarer has given up lasts no longer than this, loss or
// not: a period, the leave time, a tick of the engine's clock and the wires' longest delay.
inline constexpr double kStaleOnHop = kPeriod + 0.6 + 0.1 + 0.7;
// Once links lose nothing any more, every registration is as it should be within this many periods
// and this much for each hop of the longest path, on which a withdrawal waits out the leave time.
inline constexpr double kConvergencePeriods = 2;
inline constexpr double kConvergencePerHop = 0.8;
// What a node declares and withdraws within a tick, while nothing is lost, is gone everywhere
// within this much for each hop.
inline constexpr double kGonePerHop = 0.6 + 0.3;
// And stays so: this many more periods are watched.
inline constexpr double kSteadyPeriods = 2;

// One simulation: shape, size, links' faults, what stations declare and what breaks are drawn from
// `seed`. Tells its story to `story` when there is one.
Outcome run(std::uint64_t seed, std::ostream* story);

}  // namespace Sim
