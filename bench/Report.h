#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/Measure.h"

namespace Bench {

// A row of the table with its figures: ratio and instructions at or below them meet them, 0 is
// none.
struct TableRow {
  Row row;
  double atMost = 0;
  double atMostInstructions = 0;
  const char* note = "";  // what is spent beyond a figure

  bool over() const {
    return (atMost > 0 && row.ratio > atMost) ||
           (atMostInstructions > 0 && row.cost.instructions > atMostInstructions);
  }
};

// Collects rows while the benchmarks run; prints them as one table and writes them as JSON.
class Report final : public benchmark::BenchmarkReporter {
 public:
  explicit Report(std::string jsonPath) : jsonPath_(std::move(jsonPath)) {}

  void add(const TableRow& row) { rows_.push_back(row); }
  const std::vector<TableRow>& rows() const { return rows_; }
  // Some row could not be measured.
  bool failed() const { return failed_; }

  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  void print() const;
  // Nothing when no path was given.
  void write() const;

 private:
  std::string jsonPath_;
  std::vector<TableRow> rows_;
  bool failed_ = false;
};

}  // namespace Bench
