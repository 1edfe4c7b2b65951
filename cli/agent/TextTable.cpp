#include "cli/agent/TextTable.h"

#include <algorithm>

namespace Cli {

void printWrapped(std::ostream& out, const std::string& indent, std::size_t width,
                  const std::string& text) {
  const std::size_t room = std::max<std::size_t>(kScreen - std::min(kScreen, width), 20);
  std::string before = indent;
  std::size_t at = 0;
  do {
    std::size_t end = text.size();
    std::size_t next = end;
    if (end - at > room) {
      end = text.rfind(' ', at + room);
      const bool broken = end != std::string::npos && end > at;
      if (!broken) end = at + room;
      next = broken ? end + 1 : end;
    }
    std::string line = before + text.substr(at, end - at);
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
    before = std::string(width, ' ');
    at = next;
  } while (at < text.size());
}

void TextTable::print(std::ostream& out, const Style& style) const {
  std::vector<std::size_t> widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  bool isHeading = true;
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    }
    if (isHeading) {
      out << style.bold(line + row.back()) << '\n';
    } else {
      printWrapped(out, line, line.size(), row.back());
    }
    isHeading = false;
  }
}

}  // namespace Cli
