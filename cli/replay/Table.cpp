#include "cli/replay/Table.h"

#include <algorithm>

namespace Cli {

void Table::print(std::ostream& out) const {
  std::vector<std::size_t> widths(columns_.size());
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string gap(widths[i] - row[i].size(), ' ');
      line += "  ";
      line += columns_[i] == Align::right ? gap + row[i] : row[i] + gap;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

}  // namespace Cli
