#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace Cli {

// Columns of text, each as wide as its widest cell.
class Table {
 public:
  enum class Align : std::uint8_t { left, right };

  // One alignment a column.
  explicit Table(std::vector<Align> columns) : columns_(std::move(columns)) {}

  // As many cells as there are columns.
  void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  // Every line indented by two spaces, without spaces at its end.
  void print(std::ostream& out) const;

 private:
  std::vector<Align> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace Cli
