// Runs simulations: --seed N for one, --seeds FIRST-LAST for many; --streams for bridges of streams
// instead of VLANs; --table measures.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iostream>
#include <vector>

#include "sim/msrp/StreamRun.h"
#include "sim/msrp/StreamTable.h"
#include "sim/mvrp/Run.h"
#include "sim/mvrp/Table.h"
#include "sim/network/Episode.h"

namespace {

struct Range {
  std::uint64_t first = 1;
  std::uint64_t last = 200;
};

std::string parseRange(const std::string& text, Range& range) {
  const char* end = text.data() + text.size();
  const auto low = std::from_chars(text.data(), end, range.first);
  if (low.ec != std::errc() || low.ptr == end || *low.ptr != '-') return "not FIRST-LAST: " + text;
  const auto high = std::from_chars(low.ptr + 1, end, range.last);
  if (high.ec != std::errc() || high.ptr != end || range.last < range.first)
    return "not FIRST-LAST: " + text;
  return {};
}

using Run = Sim::Outcome (*)(std::uint64_t seed, std::ostream* story);

// Tells of a broken promise and how to see it again.
bool kept(std::uint64_t seed, const Sim::Outcome& outcome, const std::string& program) {
  if (outcome.failure.empty()) return true;
  std::cout << "seed " << seed << " FAILED: " << outcome.failure << "\n  replay: " << program
            << " --seed " << seed << " --verbose" << std::endl;
  return false;
}

Sim::Outcome judged(Run run, std::uint64_t seed, std::ostream* story) {
  try {
    return run(seed, story);
  } catch (const Sim::Storm& storm) {
    Sim::Outcome outcome;
    outcome.failure = storm.what();
    return outcome;
  }
}

bool one(Run run, std::uint64_t seed, bool verbose, const std::string& program) {
  const Sim::Outcome outcome = judged(run, seed, verbose ? &std::cout : nullptr);
  if (verbose) {
    std::cout << "converged " << outcome.converged << " s after the last loss (promised "
              << outcome.bound << "), longest path " << outcome.diameter << " links, "
              << outcome.frames << " frames, " << outcome.lost << " lost, "
              << outcome.virtualSeconds << " s of virtual time\n";
  }
  return kept(seed, outcome, program);
}

int many(Run run, Range range, std::uint64_t progress, const std::string& program) {
  std::uint64_t failed = 0, frames = 0, lost = 0, most = 0, busiest = 0;
  double worst = 0, share = 0;
  for (std::uint64_t seed = range.first; seed <= range.last; ++seed) {
    const Sim::Outcome outcome = judged(run, seed, nullptr);
    frames += outcome.frames;
    if (outcome.frames > most) {
      most = outcome.frames;
      busiest = seed;
    }
    lost += outcome.lost;
    worst = std::max(worst, outcome.converged);
    if (outcome.bound > 0) share = std::max(share, outcome.converged / outcome.bound);
    if (!kept(seed, outcome, program)) ++failed;
    const std::uint64_t done = seed - range.first + 1;
    if (progress && done % progress == 0) {
      std::cout << "seeds " << range.first << "-" << range.last << ": " << done << " runs, "
                << failed << " failed" << std::endl;
    }
  }
  std::cout << "seeds " << range.first << "-" << range.last << ": " << failed << " failed, "
            << frames << " frames (seed " << busiest << ": " << most << "), " << lost
            << " lost, convergence at worst " << worst << " s, " << share
            << " of what is promised\n";
  return failed ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Simulated networks of bridges: of VLANs, judged by plain reachability, or of streams."};
  std::uint64_t seed = 0, progress = 0;
  std::string seeds;
  Range range;
  bool verbose = false, streams = false;
  int tableSeeds = 0;
  auto* single = app.add_option("--seed", seed, "Run this one");
  app.add_option("--seeds", seeds, "Run all of FIRST-LAST")->excludes(single);
  app.add_option("--progress", progress, "A line after every so many runs");
  app.add_flag("--streams", streams, "Bridges of streams (MSRP) instead of VLANs (MVRP)");
  app.add_flag("--verbose", verbose, "Tell what happens");
  app.add_option("--table", tableSeeds, "Convergence against loss, of so many runs a cell");
  CLI11_PARSE(app, argc, argv);
  if (tableSeeds > 0) {
    streams ? Sim::streamTable(tableSeeds, std::cout) : Sim::table(tableSeeds, std::cout);
    return 0;
  }
  const Run run = streams ? Sim::runStreams : Sim::run;
  const std::string program = std::string(argv[0]) + (streams ? " --streams" : "");
  if (*single) return one(run, seed, verbose, program) ? 0 : 1;
  if (!seeds.empty()) {
    if (const std::string bad = parseRange(seeds, range); !bad.empty()) {
      std::cerr << bad << '\n';
      return 2;
    }
  }
  return many(run, range, progress, program);
}
