// The benchmarks of one engine, each case in a process of its own: the socket filter of a process
// is that of its first engine, and memory has to be counted from nothing. Called with --case this
// program is such a process; without, it runs them all and reports.

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "bench/Cases.h"
#include "bench/Instructions.h"
#include "bench/Report.h"
#include "bench/Suite.h"

namespace {

using Bench::Case;
using Bench::Extent;
using Bench::Row;
using Bench::Target;

constexpr Case kCases[] = {
    {"receive-refresh", Bench::receiveRefresh, 21, 5, 8},
    {"receive-timers", Bench::receiveTimers, 11, 5, 8},
    {"leave-all", Bench::leaveAll, 21, 5, 8},
    {"declare", Bench::declare, 21, 5, 8},
    {"propagate", Bench::propagate, 11, 3, 64},
    {"propagate-vector", Bench::propagateVector, 7, 3, 8},
    {"msrp-receive", Bench::msrpReceive, 31, 9, 32},
    {"leave-arm-cancel", Bench::leaveArmCancel, 11, 5, 8},
    {"commit", Bench::commit, 31, 7, 32},
    {"growth-ports", Bench::growthPorts, 15, 5, 8},
    {"growth-order", Bench::growthOrder, 11, 3, 8},
    {"memory-mvrp", Bench::memoryMvrp, 1, 1, 0},
    {"memory-msrp", Bench::memoryMsrp, 1, 1, 0},
    {"start", Bench::start, 11, 5, 8},
    {"account", Bench::account, 11, 5, 8},
    {"streams", Bench::streamBridge, 5, 3, 0},
    {"growth", Bench::growth, 9, 0, 0},
};

constexpr const char* kReceiveRest =
    "staging by type and key, and each value copied on into the receive and the transmit record "
    "for an event that sends nothing";
constexpr const char* kTimersRest =
    "walk, machines, encoder and wheel are entered by a call for each attribute, and each asks "
    "whether it is traced or observed";
constexpr const char* kDeclareRest =
    "the request's queue, context and record, each behind a call, take as much as the two encoded "
    "events";

constexpr Target kTargets[] = {
    {"receive-refresh", "receive-refresh", 0.6, 0, kReceiveRest},
    {"receive-refresh/ideal", "receive-refresh", 1.4, 0, kReceiveRest},
    {"receive-refresh/observed", "receive-refresh", 2.0, 0,
     "three facts are told of each join, whose calls are not inlined"},
    {"receive-refresh/account", "account", 1.6, 0,
     "three facts are told of each join, whose calls are not inlined"},
    {"account-record", "account", 3.0},
    {"memory-account", "account", 50, 0,
     "48 octets are the record and one its place in the index; the rest are the heads of its "
     "chains"},
    {"receive-timers", "receive-timers", 0.7, 0, kTimersRest},
    {"receive-timers/ideal", "receive-timers", 1.6, 0, kTimersRest},
    {"leave-all", "leave-all", 1.5, 0, kTimersRest},
    {"leave-all/ideal", "leave-all", 1.8, 0, kTimersRest},
    {"declare", "declare", 2.0, 450, kDeclareRest},
    {"propagate", "propagate", 0.8, 0,
     "caches missed in what each port keeps, and two new packets"},
    {"propagate/vector", "propagate-vector", 1.2},
    {"msrp-receive", "msrp-receive", 1.0, 0, kReceiveRest},
    {"leave-arm-cancel", "leave-arm-cancel", 1.0},
    {"commit-add", "commit", 1.5},
    {"commit-delete", "commit", 1.0},
    {"trace-off", "", 1.05, 0, "a test of the level for each text that is not built"},
    {"growth-ports", "growth-ports", 2.0},
    {"growth-order", "growth-order", 1.3},
    {"memory-mvrp", "memory-mvrp", 96},
    {"memory-msrp", "memory-msrp", 144},
    {"start", "start", 1.5},
    {"streams-declare", "streams", 8},
    {"streams-decide", "streams", 100},
    {"streams-flip", "streams", 2.5},
    {"streams-refresh", "streams", 1.1},
    {"streams-memory", "streams", 512},
    {"growth", "growth", 0},
};

// One line for each row: name, ratio, nanoseconds, those of the baseline, and instructions of both.
int runCase(const std::string& name, const Extent& extent) {
  for (const Case& one : kCases) {
    if (name != one.name) continue;
    std::cout.precision(9);
    for (const Row& row : one.run(extent)) {
      std::cout << row.name << " " << row.ratio << " " << row.cost.ns << " " << row.baseline.ns
                << " " << row.cost.instructions << " " << row.baseline.instructions << "\n";
    }
    return 0;
  }
  throw std::runtime_error("there is no such case");
}

constexpr const char* kUsage =
    "usage: mrp_bench [--quick] [--count | --count-only] [--report=<file>]\n"
    "                 [--expect=<counts>] [--store=<counts>] [--benchmark_filter=<rows>]\n"
    "       mrp_bench --case=<case> [--rounds=<n>] [--ports=<n>] [--dumps=<prefix>]\n";

struct Arguments {
  Bench::Suite::Options suite;
  std::string caseName;
  Extent extent;
  std::string report;
  std::string expect;
  std::string store;
  bool valid = true;
};

Arguments parse(int argc, char** argv) {
  Arguments out;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const auto text = [&](std::string_view flag, std::string& to) {
      if (!argument.starts_with(flag)) return false;
      to = argument.substr(flag.size());
      return true;
    };
    const auto number = [&](std::string_view flag, auto& to) {
      std::string digits;
      if (!text(flag, digits)) return false;
      const char* end = digits.data() + digits.size();
      const auto read = std::from_chars(digits.data(), end, to);
      if (read.ptr != end || to <= 0) out.valid = false;
      return true;
    };
    std::string dumps;
    if (text("--case=", out.caseName) || text("--report=", out.report) ||
        text("--expect=", out.expect) || text("--store=", out.store) ||
        number("--rounds=", out.extent.rounds) || number("--ports=", out.extent.ports)) {
      continue;
    }
    if (text("--dumps=", dumps)) {
      Bench::countInstructions(dumps);
    } else if (argument == "--quick") {
      out.suite.quick = true;
    } else if (argument == "--count") {
      out.suite.count = true;
    } else if (argument == "--count-only") {
      out.suite.count = true;
      out.suite.times = false;
    } else {
      out.valid = false;
    }
  }
  return out;
}

int runSuite(const Arguments& arguments) {
  Bench::Report report(arguments.report);
  Bench::Suite suite(arguments.suite, kCases, report);
  std::size_t registered = 0;
  for (const Target& target : kTargets) {
    if (!suite.includes(target)) continue;
    ++registered;
    const auto measure = [&suite, &target](benchmark::State& state) {
      for (auto _ : state) {
        std::cerr << "measuring " << target.row << "\n";
        try {
          state.SetIterationTime(suite.run(target).cost.ns * 1e-9);
        } catch (const std::exception& e) {
          state.SkipWithError(e.what());
        }
      }
    };
    benchmark::RegisterBenchmark(target.row, measure)->Iterations(1)->UseManualTime();
  }
  const std::size_t measured = benchmark::RunSpecifiedBenchmarks(&report);
  if (measured == 0) return 1;
  suite.finish();
  report.print();
  report.write();
  if (report.failed()) return 1;
  if (!arguments.store.empty()) Bench::storeInstructions(report, arguments.store);
  if (arguments.expect.empty()) return 0;
  return Bench::sameInstructions(report, arguments.expect, measured == registered) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  Arguments arguments = parse(argc, argv);
  if (!arguments.valid) {
    std::cerr << kUsage;
    return 2;
  }
  try {
    if (!arguments.caseName.empty()) return runCase(arguments.caseName, arguments.extent);
    arguments.suite.program = std::filesystem::read_symlink("/proc/self/exe").string();
    return runSuite(arguments);
  } catch (const std::exception& e) {
    std::cerr << arguments.caseName << ": " << e.what() << "\n";
    return 1;
  }
}
