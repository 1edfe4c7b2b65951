#include "cli/why/WhyText.h"

#include <algorithm>

namespace Cli {
namespace {

using Rpc::Json;

std::string wordsOf(const Json& value) {
  return value.is_string() ? value.get<std::string>() : std::string();
}

std::string padded(const std::string& text, std::size_t width) {
  return text + std::string(width - std::min(width, text.size()), ' ');
}

// Columns of time, port and what happened.
struct Columns {
  std::size_t clock = 0;
  std::size_t port = 0;

  explicit Columns(const Json& answer) {
    for (const char* list : {"because", "next"}) {
      for (const Json& row : answer[list]) clock = std::max(clock, wordsOf(row["clock"]).size());
    }
    for (const Json& row : answer["because"]) port = std::max(port, wordsOf(row["port"]).size());
  }
  std::string indent(const std::string& time, const std::string& on) const {
    return "  " + std::string(clock - std::min(clock, time.size()), ' ') + time + "  " +
           padded(on, port) + (port > 0 ? "  " : "");
  }
};

std::string stepText(const Json& step) {
  std::string text = wordsOf(step["text"]);
  if (step["frame"].is_number()) {
    text += " (frame " + step["frame"].dump();
    if (step["source"].is_string()) text += " from " + wordsOf(step["source"]);
    text += ")";
  }
  return text;
}

void printLine(std::ostream& out, const std::string& indent, const std::string& text) {
  printWrapped(out, indent, indent.size(), text);
}

void printChecks(std::ostream& out, const Style& style, const Json& checks) {
  if (checks.empty()) return;
  out << "  decided step by step:\n";
  std::size_t width = 0;
  for (const Json& check : checks) width = std::max(width, wordsOf(check["name"]).size());
  for (const Json& check : checks) {
    const bool passed = check["passed"].get<bool>();
    std::string text = passed ? "passed" : style.bad("code " + check["code"].dump());
    const std::string numbers = wordsOf(check["numbers"]);
    if (!numbers.empty()) text += ": " + numbers;
    printLine(out, "    " + padded(wordsOf(check["name"]), width) + "  ", text);
  }
}

void printAnswer(std::ostream& out, const Style& style, const Json& answer) {
  out << style.bold(wordsOf(answer["state"])) << '\n';
  const Columns columns(answer);
  for (const Json& step : answer["because"]) {
    printLine(out, columns.indent(wordsOf(step["clock"]), wordsOf(step["port"])), stepText(step));
  }
  if (answer["ending"] == "overwritten") {
    out << "  What was before that the account no longer holds.\n";
  }
  printChecks(out, style, answer["checks"]);
  if (answer["remedy"].is_string()) printLine(out, "  remedy: ", wordsOf(answer["remedy"]));
  for (const Json& coming : answer["next"]) {
    const std::string at = wordsOf(coming["clock"]);
    printLine(out, "  next: ", (at.empty() ? "" : "at " + at + ": ") + wordsOf(coming["text"]));
  }
  for (const Json& line : answer["lookedAt"]) printLine(out, "  looked at: ", wordsOf(line));
}

}  // namespace

void printAnswers(std::ostream& out, const Style& style, const Json& result) {
  bool first = true;
  for (const Json& answer : result["answers"]) {
    if (!std::exchange(first, false)) out << '\n';
    printAnswer(out, style, answer);
  }
}

}  // namespace Cli
