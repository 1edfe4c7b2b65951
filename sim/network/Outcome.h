#pragma once

#include <cstdint>
#include <string>

namespace Sim {

// Longest time between two LeaveAlls on a port, in seconds: 10, prolonged by half at most.
inline constexpr double kPeriod = 15;

// What came of one simulation.
struct Outcome {
  std::string failure;   // empty when every promise held
  double converged = 0;  // seconds from the last loss to the last change
  double bound = 0;      // what was promised of that
  int diameter = 0;
  double virtualSeconds = 0;
  std::uint64_t frames = 0;
  std::uint64_t lost = 0;
};

}  // namespace Sim
