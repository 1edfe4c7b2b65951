#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Cli {

// Lines for people are no longer than this.
inline constexpr std::size_t kScreen = 100;

// How text is set off where the output is a terminal.
struct Style {
  bool colour = false;
  std::string bold(const std::string& text) const {
    return colour ? "\x1b[1m" + text + "\x1b[0m" : text;
  }
  std::string bad(const std::string& text) const {
    return colour ? "\x1b[31m" + text + "\x1b[0m" : text;
  }
};

// Prints `text` behind `indent`, which is of `width` columns, broken at spaces so that it fits; what
// follows the first line stands under it.
void printWrapped(std::ostream& out, const std::string& indent, std::size_t width,
                  const std::string& text);

// Columns under headings, each as wide as its widest cell. The last one is broken where it would
// not fit.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> headings) : rows_{std::move(headings)} {}
  void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  void print(std::ostream& out, const Style& style) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace Cli
