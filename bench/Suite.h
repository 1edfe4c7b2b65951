#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Cases.h"
#include "bench/Report.h"

namespace Bench {

struct Case {
  std::string_view name;
  std::vector<Row> (*run)(const Extent& extent);
  int rounds;              // in `make bench`
  int quickRounds;         // in `make bench-quick`; 0: left out
  std::size_t countPorts;  // while instructions are counted; 0: they are not
};

// A row of the table with the figures that it is to keep to.
struct Target {
  const char* row;
  std::string_view caseName;  // empty: the row compares the two programs
  double atMost;              // ratio, or octets of memory; 0: rows that inform, named by the case
  double atMostInstructions = 0;
  const char* note = "";  // what is spent beyond the figure, for the table
};

// Runs cases, each in a process of its own, and hands their rows to the report.
class Suite {
 public:
  struct Options {
    std::string
        program;  // the program that has its traces compiled out is named <program>_no_trace
    bool quick = false;
    bool times = true;
    bool count = false;  // instructions, under callgrind
  };
  Suite(Options options, std::span<const Case> cases, Report& report)
      : options_(std::move(options)), cases_(cases), report_(report) {}

  // False when the mode leaves the row out.
  bool includes(const Target& target) const;
  // Throws what keeps the row from being measured.
  Row run(const Target& target);
  // Rows beside the table come last.
  void finish();

 private:
  using Rows = std::vector<Row>;
  const Case& caseOf(std::string_view name) const;
  const Rows& rowsOf(std::string_view caseName);
  Rows timed(const std::string& program, const Case& one, int rounds) const;
  Rows counted(const std::string& program, const Case& one) const;
  Row traceOff() const;

  Options options_;
  std::span<const Case> cases_;
  Report& report_;
  std::map<std::string, Rows, std::less<>> results_;
};

}  // namespace Bench
