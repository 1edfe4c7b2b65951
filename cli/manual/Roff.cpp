#include "cli/manual/Roff.h"

#include <algorithm>

namespace Cli {
namespace {

std::string inQuotes(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  return out;
}

// A line that begins with one of these would be a request.
std::string quotedLine(std::string_view text) {
  const bool request = !text.empty() && (text.front() == '.' || text.front() == '\'');
  return (request ? "\\&" : "") + inQuotes(text);
}

template <class Visit>
void walkLines(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    visit(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

Roff::Roff(std::string_view name, int section, std::string_view version) {
  std::string upper(name);
  std::ranges::transform(upper, upper.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  page_ = ".TH " + inQuotes(upper) + " " + std::to_string(section) + " \"\" \"mrp " +
          std::string(version) + "\" \"MRP\"\n";
}

void Roff::line(const char* macro, std::string_view argument) {
  std::string text = inQuotes(argument);
  std::erase(text, '"');
  page_ += std::string(macro) + " \"" + text + "\"\n";
}

void Roff::words(std::string_view text) {
  walkLines(text, [this](std::string_view line) {
    page_ += line.empty() ? ".PP\n" : quotedLine(line) + '\n';
  });
}

// The first paragraph stands right under its heading.
void Roff::text(std::string_view text) {
  const std::size_t last = page_.rfind('\n', page_.size() - 2) + 1;
  if (page_.compare(last, 2, ".S") != 0) page_ += ".PP\n";
  words(text);
}

void Roff::item(std::string_view term, std::string_view text) {
  page_ += ".TP\n\\fB" + inQuotes(term) + "\\fR\n";
  words(text.empty() ? "." : text);
}

void Roff::literal(std::string_view text) {
  page_ += ".PP\n.RS 4\n.EX\n";
  walkLines(text, [this](std::string_view line) { page_ += quotedLine(line) + '\n'; });
  page_ += ".EE\n.RE\n";
}

}  // namespace Cli
