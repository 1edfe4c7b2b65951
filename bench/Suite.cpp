#include "bench/Suite.h"

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace Bench {
namespace {

std::string quoted(const std::string& text) { return "'" + text + "'"; }

std::string outputOf(const std::string& command) {
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::string text;
  for (int c = ::fgetc(pipe); c != EOF; c = ::fgetc(pipe)) text.push_back(static_cast<char>(c));
  if (::pclose(pipe) != 0) throw std::runtime_error("it failed: " + command);
  return text;
}

std::vector<Row> readRows(const std::string& text) {
  std::vector<Row> rows;
  std::istringstream lines(text);
  Row row;
  while (lines >> row.name >> row.ratio >> row.cost.ns >> row.baseline.ns >>
         row.cost.instructions >> row.baseline.instructions) {
    rows.push_back(row);
  }
  return rows;
}

// A folder of its own for what callgrind writes.
class DumpFolder {
 public:
  DumpFolder() {
    std::string name = std::filesystem::temp_directory_path() / "mrp_bench.XXXXXX";
    if (!::mkdtemp(name.data())) throw std::runtime_error("cannot make " + name);
    path_ = name;
  }
  ~DumpFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  DumpFolder(const DumpFolder&) = delete;
  DumpFolder& operator=(const DumpFolder&) = delete;
  std::string prefix() const { return path_ / "counts"; }

 private:
  std::filesystem::path path_;
};

// Enough repetitions for what grows at first to have grown.
constexpr int kCountRounds = 2;

// Nothing of the machine: the C library chooses its copying loops by the processor, and the size of
// the environment moves the stack.
constexpr const char* kSameEverywhere =
    "env -i PATH=\"$PATH\" GLIBC_TUNABLES=glibc.cpu.hwcaps="
    "-AVX,-AVX2,-AVX512F,-AVX512VL,-AVX_Fast_Unaligned_Load,-ERMS,-FSRM";

}  // namespace

const Case& Suite::caseOf(std::string_view name) const {
  for (const Case& one : cases_) {
    if (name == one.name) return one;
  }
  throw std::runtime_error("there is no case " + std::string(name));
}

std::vector<Row> Suite::timed(const std::string& program, const Case& one, int rounds) const {
  return readRows(outputOf(quoted(program) + " --case=" + std::string(one.name) +
                           " --rounds=" + std::to_string(rounds)));
}

std::vector<Row> Suite::counted(const std::string& program, const Case& one) const {
  const DumpFolder folder;
  std::ostringstream command;
  command << kSameEverywhere << " valgrind -q --tool=callgrind --toggle-collect=measuredStep"
          << " --dump-after=measuredStep --callgrind-out-file=" << quoted(folder.prefix()) << " "
          << quoted(program) << " --case=" << one.name << " --rounds=" << kCountRounds
          << " --ports=" << one.countPorts << " --dumps=" << quoted(folder.prefix());
  return readRows(outputOf(command.str()));
}

bool Suite::includes(const Target& target) const {
  if (target.caseName.empty()) return true;
  const Case& one = caseOf(target.caseName);
  if (!options_.times) return one.countPorts > 0;
  return !options_.quick || one.quickRounds > 0;
}

const std::vector<Row>& Suite::rowsOf(std::string_view caseName) {
  auto [it, isNew] = results_.try_emplace(std::string(caseName));
  if (!isNew) return it->second;
  const Case& one = caseOf(caseName);
  Rows& rows = it->second;
  if (options_.times)
    rows = timed(options_.program, one, options_.quick ? one.quickRounds : one.rounds);
  if (!options_.count || one.countPorts == 0) return rows;
  const Rows counts = counted(options_.program, one);
  if (rows.empty()) {
    rows = counts;
    for (Row& row : rows) row.ratio = row.cost.ns = row.baseline.ns = 0;
  }
  check(rows.size() == counts.size(), "the same rows counted");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    rows[i].cost.instructions = counts[i].cost.instructions;
    rows[i].baseline.instructions = counts[i].baseline.instructions;
  }
  return rows;
}

Row Suite::run(const Target& target) {
  const auto find = [&] {
    for (const Row& row : rowsOf(target.caseName)) {
      if (row.name == target.row || target.atMost == 0) return row;
    }
    throw std::runtime_error(std::string("the case has no row ") + target.row);
  };
  const Row row = target.caseName.empty() ? traceOff() : find();
  if (target.atMost > 0) {
    report_.add({row, target.atMost, target.atMostInstructions, target.note});
  }
  return row;
}

void Suite::finish() {
  const auto reported = [&](const Row& row) {
    for (const TableRow& one : report_.rows()) {
      if (one.row.name == row.name) return true;
    }
    return false;
  };
  for (const auto& [name, rows] : results_) {
    for (const Row& row : rows) {
      if (row.name.find('/') != std::string::npos && !reported(row)) report_.add({row});
    }
  }
}

// Two programs in turn; the baseline that each measures takes out what the machine does meanwhile.
Row Suite::traceOff() const {
  const int turns = options_.quick ? 3 : 9;
  const int rounds = 7;
  const Case& one = caseOf("receive-refresh");
  const std::string without = options_.program + "_no_trace";
  Rounds ratios("trace-off");
  for (int i = 0; options_.times && i < turns; ++i) {
    const Row on = timed(options_.program, one, rounds).at(0);
    const Row off = timed(without, one, rounds).at(0);
    ratios.add({off.ratio, 0}, {on.ratio, 0});
  }
  Row row = ratios.row();
  row.cost.ns = row.baseline.ns = 0;  // they are ratios
  if (options_.count) {
    row.cost.instructions = counted(options_.program, one).at(0).cost.instructions;
    row.baseline.instructions = counted(without, one).at(0).cost.instructions;
  }
  return row;
}

}  // namespace Bench
