#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/msrp/StreamState.h"

namespace Mrp::Streams {

// One condition of the list by which a port's declaration of a stream is decided.
struct DecisionStep {
  std::string name;
  bool passed = true;
  std::uint8_t code = 0;  // of the failure, where it did not pass
  std::string numbers;    // what was compared: "needs 98.752 Mb/s, 75 Mb/s available"
};

// How what a port declares of a stream is decided, as of the last settlement: the list up to the
// step that decided, all of it for a stream that is advertised.
struct Explanation {
  // Why nothing is declared at all, and an empty list; otherwise empty.
  std::string nothing;
  std::vector<DecisionStep> steps;
  // What helps, in a line; empty where nothing is wrong.
  std::string remedy;
};

// A domain of a port, ours and the neighbour's.
struct DomainState {
  bool open = false;
  bool capable = false;
  bool boundary = true;
  std::uint8_t priority = 0;           // ours
  std::optional<std::uint8_t> theirs;  // none: no such class declared
};

// "98.752 Mb/s".
std::string rateName(BitsPerSecond rate);
// "80:00:02:00:00:00:00:00".
std::string bridgeName(std::uint64_t bridgeId);

}  // namespace Mrp::Streams
