#pragma once

#include <cstdint>
#include <iosfwd>

#include "sim/network/Outcome.h"

namespace Sim {

// --- The promise for streams ---------------------------------------------------------------------
// Once links lose nothing any more and nobody says anything new, all agree within what VLANs take,
// the time for which a changed stream fails, and this much for each hop of the longest path: an
// advertisement on the way there, a listener on the way back.
inline constexpr double kStreamRecovery = 30;
inline constexpr double kStreamPerHop = 1.6;
// Then nothing is told to any switch for so many LeaveAlls.
inline constexpr int kQuietLeaveAlls = 10;

// One simulation of bridges of streams: talkers and listeners come, go, change and move, links are
// contended, lossy and cut. At any instant no port is above its limit, and what a bridge has
// decided agrees with itself.
Outcome runStreams(std::uint64_t seed, std::ostream* story);

}  // namespace Sim
