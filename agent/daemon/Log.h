#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Daemon {

// The agent's log lines.
class Log {
 public:
  enum class Level : std::uint8_t { error, warning, info, debug };
  using Sink = std::function<void(Level, const std::string& text)>;

  explicit Log(Sink sink) : sink_(std::move(sink)) {}

  static std::string_view name(Level level);
  static std::optional<Level> level(std::string_view name);

  // The least important lines that are written; info at first.
  void levelIs(Level level) { level_ = level; }
  bool isOn(Level level) const { return level <= level_; }

  void error(const std::string& text) const { line(Level::error, text); }
  void warning(const std::string& text) const { line(Level::warning, text); }
  void info(const std::string& text) const { line(Level::info, text); }
  void debug(const std::string& text) const { line(Level::debug, text); }
  // Written whatever the level is.
  void always(Level level, const std::string& text) const { sink_(level, text); }

 private:
  void line(Level level, const std::string& text) const {
    if (isOn(level)) sink_(level, text);
  }

  Sink sink_;
  Level level_ = Level::info;
};

// Lines to standard error, "mrp agent: LEVEL: text", or with the priority in front that the journal
// reads where standard error is its stream.
Log::Sink standardErrorSink();

}  // namespace Daemon
