#include "bench/Report.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace Bench {
namespace {

std::string decimal(double value, int digits) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(digits) << value;
  return std::move(out).str();
}

// Memory has no time.
std::string orNull(double value, int digits) { return value > 0 ? decimal(value, digits) : "null"; }
std::string orDash(double value) { return value > 0 ? decimal(value, 1) : "-"; }

}  // namespace

void Report::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) {
      failed_ = true;
      std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
    }
  }
}

void Report::print() const {
  std::printf("%-30s %8s %8s %6s %10s %10s %13s %14s\n", "row", "ratio", "at most", "", "ns",
              "baseline", "instructions", "baseline's");
  for (const TableRow& one : rows_) {
    const Row& row = one.row;
    const bool judged = one.atMost > 0 && row.ratio > 0;
    const char* verdict = one.over() ? "OVER" : judged ? "met" : "";
    std::printf("%-30s %8s %8s %6s %10s %10s %13s %14s\n", row.name.c_str(),
                row.ratio > 0 ? decimal(row.ratio, 3).c_str() : "-",
                one.atMost == 0 ? "" : decimal(one.atMost, 2).c_str(), verdict,
                orDash(row.cost.ns).c_str(), orDash(row.baseline.ns).c_str(),
                orDash(row.cost.instructions).c_str(), orDash(row.baseline.instructions).c_str());
  }
  for (const TableRow& one : rows_) {
    if (!one.over()) continue;
    std::printf("%s: %s", one.row.name.c_str(), one.note);
    if (one.atMostInstructions > 0) {
      std::printf(" (at most %.0f instructions)", one.atMostInstructions);
    }
    std::printf("\n");
  }
  std::fflush(stdout);
}

void Report::write() const {
  if (jsonPath_.empty()) return;
  const std::filesystem::path path(jsonPath_);
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path);
  const char* between = "[\n";
  for (const TableRow& one : rows_) {
    const Row& row = one.row;
    out << between << "  {\"name\": \"" << row.name << "\", \"ratio\": " << orNull(row.ratio, 4)
        << ", \"target\": " << orNull(one.atMost, 2)
        << ", \"ns_per_attribute\": " << orNull(row.cost.ns, 3)
        << ", \"baseline_ns\": " << orNull(row.baseline.ns, 3)
        << ", \"instructions\": " << orNull(row.cost.instructions, 1)
        << ", \"baseline_instructions\": " << orNull(row.baseline.instructions, 1)
        << ", \"target_instructions\": " << orNull(one.atMostInstructions, 0) << ", \"note\": \""
        << (one.over() ? one.note : "") << "\"}";
    between = ",\n";
  }
  out << "\n]\n";
}

}  // namespace Bench
