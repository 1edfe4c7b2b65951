#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/reactor/Ptr.h"

namespace Platform {

// Trace facility. Levels grow with detail: 4 failures, 6 and 7 notable events, 8 routine steps. A
// line above the current level costs one branch. Emitted lines and records go to the sinks and to a
// ring of the latest entries.
class MRP_API Trace : public PtrInterface {
 public:
  struct Entry {
    int level;  // -1 for a record
    std::string text;
  };
  using Sink = std::function<void(const Entry&)>;

  explicit Trace(std::size_t ringSize = 256) : ringSize_(ringSize) {}

  int level() const { return level_; }
  // Lines up to and including `level` are emitted; 0 emits none.
  void levelIs(int level) { level_ = level; }
  bool isOn(int level) const { return level <= level_; }

  void line(int level, std::string text) { emit({level, std::move(text)}); }
  // Keeps an exceptional event whatever the level is.
  void record(std::string text) { emit({-1, std::move(text)}); }

  // Another sink, which sees what is emitted from now on.
  void sinkAdd(Sink sink) { sinks_.push_back(std::move(sink)); }
  // The latest entries, oldest first.
  std::vector<Entry> ring() const;

 private:
  void emit(Entry entry);

  int level_ = 0;
  std::size_t ringSize_;
  std::size_t next_ = 0;
  std::vector<Entry> ring_;
  std::vector<Sink> sinks_;
};

// One line while its text is built; it is emitted when it goes. All of it is out of line, so that a
// trace that is off leaves next to nothing in the function that holds it.
class MRP_API TraceLine {
 public:
  TraceLine(Trace& trace, int level);
  ~TraceLine();
  TraceLine(const TraceLine&) = delete;
  TraceLine& operator=(const TraceLine&) = delete;
  std::ostream& text();

 private:
  Trace& trace_;
  int level_;
  std::unique_ptr<std::ostringstream> text_;
};

}  // namespace Platform

// Traces `stream`, a chain of << operands, when `level` is on. The operands are not evaluated
// otherwise. With MRP_NO_TRACE defined nothing is traced at any level.
#ifndef MRP_NO_TRACE
#define MRP_TRACE(trace, lvl, stream)                         \
  do {                                                        \
    ::Platform::Trace& mrpTrace_ = (trace);                   \
    if (__builtin_expect(mrpTrace_.isOn(lvl), 0)) {           \
      ::Platform::TraceLine(mrpTrace_, lvl).text() << stream; \
    }                                                         \
  } while (false)
#else
#define MRP_TRACE(trace, lvl, stream) \
  do {                                \
    if constexpr (false) {            \
      static_cast<void>(trace);       \
      std::ostringstream mrpText_;    \
      mrpText_ << (lvl) << stream;    \
    }                                 \
  } while (false)
#endif
