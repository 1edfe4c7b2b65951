// The benchmarks of one engine, each case in a process of its own: the socket filter of a process
// is that of its first engine, and memory has to be counted from nothing. Called with --case this
// program is such a process; without, it runs them all and reports.

#include <benchmark/benchmark.h>
#include <stdio.h>

#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <sstream>

#include "bench/Cases.h"
#include "bench/Report.h"

namespace {

using Bench::Row;

struct Case {
  const char* name;
  std::vector<Row> (*run)(int rounds);
  int rounds;       // in `make bench`
  int quickRounds;  // in `make bench-quick`; 0: left out
};

constexpr Case kCases[] = {
    {"receive-refresh", Bench::receiveRefresh, 21, 5},
    {"receive-timers", Bench::receiveTimers, 11, 5},
    {"leave-all", Bench::leaveAll, 21, 5},
    {"declare", Bench::declare, 21, 5},
    {"propagate", Bench::propagate, 11, 3},
    {"msrp-receive", Bench::msrpReceive, 31, 9},
    {"leave-arm-cancel", Bench::leaveArmCancel, 11, 5},
    {"commit", Bench::commit, 31, 7},
    {"growth-ports", Bench::growthPorts, 15, 5},
    {"growth-order", Bench::growthOrder, 11, 3},
    {"memory-mvrp", Bench::memoryMvrp, 1, 1},
    {"memory-msrp", Bench::memoryMsrp, 1, 1},
    {"start", Bench::start, 11, 5},
    {"growth", Bench::growth, 9, 0},
};

// Rows of the table with the figure that each is to keep to. trace-off has no case of its own.
struct Target {
  const char* row;
  const char* caseName;
  double atMost;
};

constexpr Target kTargets[] = {
    {"receive-refresh", "receive-refresh", 0.6},
    {"receive-timers", "receive-timers", 0.7},
    {"leave-all", "leave-all", 1.5},
    {"declare", "declare", 2.0},
    {"propagate", "propagate", 0.8},
    {"msrp-receive", "msrp-receive", 1.0},
    {"leave-arm-cancel", "leave-arm-cancel", 1.0},
    {"commit-add", "commit", 1.5},
    {"commit-delete", "commit", 1.0},
    {"trace-off", "", 1.05},
    {"growth-ports", "growth-ports", 2.0},
    {"growth-order", "growth-order", 1.3},
    {"memory-mvrp", "memory-mvrp", 96},
    {"memory-msrp", "memory-msrp", 144},
    {"start", "start", 1.5},
    {"growth", "growth", 0},
};

const Case& caseOf(const std::string& name) {
  for (const Case& one : kCases) {
    if (name == one.name) return one;
  }
  throw std::runtime_error("there is no case " + name);
}

// One line for each row: name, ratio, nanoseconds, those of the baseline.
int runCase(const std::string& name, int rounds) {
  try {
    for (const Row& row : caseOf(name).run(rounds)) {
      std::cout << row.name << " " << row.ratio << " " << row.ns << " " << row.baselineNs << "\n";
    }
    return 0;
  } catch (const std::exception& e) {
    std::cerr << name << ": " << e.what() << "\n";
    return 1;
  }
}

std::vector<Row> runProcess(const std::string& program, const std::string& name, int rounds) {
  const std::string command =
      "'" + program + "' --case=" + name + " --rounds=" + std::to_string(rounds);
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::string text;
  for (int c = ::fgetc(pipe); c != EOF; c = ::fgetc(pipe)) text.push_back(static_cast<char>(c));
  if (::pclose(pipe) != 0) throw std::runtime_error("it failed: " + command);
  std::vector<Row> rows;
  std::istringstream lines(text);
  Row row;
  while (lines >> row.name >> row.ratio >> row.ns >> row.baselineNs) rows.push_back(row);
  return rows;
}

// Runs the cases and hands their rows to the report.
class Suite {
 public:
  Suite(std::string program, bool quick, Bench::Report& report)
      : program_(std::move(program)), quick_(quick), report_(report) {}

  void run(benchmark::State& state, const Target& target) {
    for (auto _ : state) {
      std::cerr << "measuring " << target.row << "\n";
      try {
        const Row row = target.caseName[0] ? rowOf(target) : traceOff();
        if (target.atMost > 0) report_.add({row, target.atMost});
        state.SetIterationTime(row.ns * 1e-9);
        state.counters["ratio"] = row.ratio;
        state.counters["baseline_ns"] = row.baselineNs;
      } catch (const std::exception& e) {
        state.SkipWithError(e.what());
      }
    }
  }

  // Rows beside the table come last.
  void finish() {
    for (const auto& [name, rows] : results_) {
      for (const Row& row : rows) {
        if (row.name.find('/') != std::string::npos) report_.add({row, 0});
      }
    }
  }

 private:
  Row rowOf(const Target& target) {
    auto [it, isNew] = results_.try_emplace(target.caseName);
    if (isNew) {
      const Case& one = caseOf(target.caseName);
      it->second = runProcess(program_, one.name, quick_ ? one.quickRounds : one.rounds);
    }
    for (const Row& row : it->second) {
      if (row.name == target.row || target.atMost == 0) return row;
    }
    throw std::runtime_error(std::string("the case has no row ") + target.row);
  }

  // Two programs in turn; the baseline that each measures takes out what the machine does
  // meanwhile.
  Row traceOff() {
    const int turns = quick_ ? 3 : 9;
    const int rounds = 7;
    Bench::Rounds ratios("trace-off");
    for (int i = 0; i < turns; ++i) {
      const Row with = runProcess(program_, "receive-refresh", rounds).at(0);
      const Row without = runProcess(program_ + "_no_trace", "receive-refresh", rounds).at(0);
      ratios.add(without.ratio, with.ratio);
    }
    Row row = ratios.row();
    row.ns = row.baselineNs = 0;  // they are ratios
    return row;
  }

  std::string program_;
  bool quick_;
  Bench::Report& report_;
  std::map<std::string, std::vector<Row>> results_;
};

}  // namespace

int main(int argc, char** argv) {
  std::string caseName;
  std::string json;
  int rounds = 5;
  bool quick = false;
  benchmark::Initialize(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto value = [&](const char* flag) {
      return argument.starts_with(flag) ? argv[i] + std::strlen(flag) : nullptr;
    };
    if (const char* v = value("--case=")) {
      caseName = v;
    } else if (const char* n = value("--rounds=")) {
      rounds = std::atoi(n);
    } else if (const char* path = value("--report=")) {
      json = path;
    } else if (argument == "--quick") {
      quick = true;
    } else {
      std::cerr << "usage: mrp_bench [--quick] [--report=<file>] [--benchmark_filter=<rows>]\n"
                   "       mrp_bench --case=<case> [--rounds=<n>]\n";
      return 2;
    }
  }
  if (!caseName.empty()) return runCase(caseName, rounds);

  Bench::Report report(json);
  Suite suite(std::filesystem::read_symlink("/proc/self/exe").string(), quick, report);
  for (const Target& target : kTargets) {
    if (quick && target.caseName[0] && caseOf(target.caseName).quickRounds == 0) continue;
    benchmark::RegisterBenchmark(
        target.row, [&suite, &target](benchmark::State& state) { suite.run(state, target); })
        ->Iterations(1)
        ->UseManualTime();
  }
  if (benchmark::RunSpecifiedBenchmarks(&report) == 0) return 1;
  suite.finish();
  report.print();
  report.write();
  return report.failed() ? 1 : 0;
}
