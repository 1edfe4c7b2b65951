#include "sim/network/LossTable.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>

#include "sim/network/Outcome.h"

namespace Sim {
namespace {

constexpr Shape kMeasured[] = {Shape::line, Shape::star, Shape::ring};
constexpr double kLosses[] = {0, 0.01, 0.05, 0.1, 0.2, 0.3};

void cell(std::vector<double>& times, std::ostream& out) {
  if (times.empty()) {
    out << " | – | –";
    return;
  }
  std::sort(times.begin(), times.end());
  for (const double time : {times[times.size() / 2], times.back()}) {
    out << " | " << (time >= kGiveUp ? "> " : "") << std::setprecision(2) << time << " ("
        << std::setprecision(1) << time / kPeriod << ")";
  }
}

}  // namespace

void lossTable(int seeds, const char* change, const Measure& measure, std::ostream& out) {
  out << std::fixed << "| shape | loss | " << change
      << ", median | worst | leave, median | worst | switch-over, median | worst |\n"
         "|---|---|---|---|---|---|---|---|\n";
  for (const Shape shape : kMeasured) {
    for (const double loss : kLosses) {
      Times times;
      for (int seed = 1; seed <= seeds; ++seed) {
        measure(shape, loss, static_cast<std::uint64_t>(seed), times);
      }
      out << "| " << nameOf(shape) << " | " << std::lround(loss * 100) << " %";
      for (auto* of : {&times.join, &times.leave, &times.failover}) cell(*of, out);
      out << " |" << std::endl;
    }
  }
}

}  // namespace Sim
