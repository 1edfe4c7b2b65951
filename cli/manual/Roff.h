#pragma once

#include <string>
#include <string_view>

namespace Cli {

// A manual page while it is written, in the macros of man(7). Text is taken as it is: what would
// mean something to the formatter is quoted.
class Roff {
 public:
  Roff(std::string_view name, int section, std::string_view version);

  void heading(std::string_view text) { line(".SH", text); }
  void subheading(std::string_view text) { line(".SS", text); }
  // Empty lines separate paragraphs.
  void text(std::string_view text);
  void item(std::string_view term, std::string_view text);
  // Kept line by line.
  void literal(std::string_view text);

  const std::string& page() const { return page_; }

 private:
  void line(const char* macro, std::string_view argument);
  void words(std::string_view text);
  std::string page_;
};

}  // namespace Cli
