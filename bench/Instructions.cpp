#include "bench/Instructions.h"

#include <cmath>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <stdexcept>

namespace Bench {
namespace {

constexpr double kTolerance = 0.03;

std::map<std::string, double> countsOf(const Report& report) {
  std::map<std::string, double> counts;
  for (const TableRow& one : report.rows()) {
    if (one.row.cost.instructions > 0) counts[one.row.name] = one.row.cost.instructions;
  }
  return counts;
}

std::map<std::string, double> readTable(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::map<std::string, double> counts;
  std::string name;
  double count = 0;
  while (in >> name >> count) counts[name] = count;
  return counts;
}

}  // namespace

bool sameInstructions(const Report& report, const std::string& table, bool all) {
  const std::map<std::string, double> stored = readTable(table);
  const std::map<std::string, double> counts = countsOf(report);
  bool same = true;
  const auto differs = [&](const std::string& row) -> std::ostream& {
    same = false;
    return std::cerr << row << ": ";
  };
  std::cerr << std::fixed << std::setprecision(1);
  for (const auto& [row, count] : counts) {
    const auto it = stored.find(row);
    if (it == stored.end()) {
      differs(row) << count << " instructions, and none in " << table << "\n";
    } else if (std::abs(count - it->second) > std::max(kTolerance * it->second, 1.0)) {
      differs(row) << count << " instructions, and " << it->second << " in " << table << "\n";
    }
  }
  for (const auto& [row, count] : stored) {
    if (all && !counts.contains(row)) differs(row) << "not counted, and in " << table << "\n";
  }
  return same;
}

void storeInstructions(const Report& report, const std::string& table) {
  std::ofstream out(table);
  out << std::fixed << std::setprecision(1);
  for (const auto& [row, count] : countsOf(report)) out << row << " " << count << "\n";
  if (!out.flush()) throw std::runtime_error("cannot write " + table);
}

}  // namespace Bench
