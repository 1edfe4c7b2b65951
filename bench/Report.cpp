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
  std::printf("%-34s %10s %8s %6s %14s %12s\n", "row", "ratio", "target", "", "ns/attribute",
              "baseline ns");
  for (const auto& [row, target] : rows_) {
    const char* verdict = target == 0 ? "" : row.ratio <= target ? "met" : "OVER";
    std::printf("%-34s %10s %8s %6s %14s %12s\n", row.name.c_str(), decimal(row.ratio, 3).c_str(),
                target == 0 ? "" : decimal(target, 2).c_str(), verdict, orDash(row.ns).c_str(),
                orDash(row.baselineNs).c_str());
  }
  std::fflush(stdout);
}

void Report::write() const {
  if (jsonPath_.empty()) return;
  const std::filesystem::path path(jsonPath_);
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path);
  const char* between = "[\n";
  for (const auto& [row, target] : rows_) {
    out << between << "  {\"name\": \"" << row.name << "\", \"ratio\": " << decimal(row.ratio, 4)
        << ", \"target\": " << orNull(target, 2) << ", \"ns_per_attribute\": " << orNull(row.ns, 3)
        << ", \"baseline_ns\": " << orNull(row.baselineNs, 3) << "}";
    between = ",\n";
  }
  out << "\n]\n";
}

}  // namespace Bench
