#include "platform/log/Trace.h"

namespace Platform {

void Trace::emit(Entry entry) {
  for (const Sink& sink : sinks_) sink(entry);
  if (ringSize_ == 0) return;
  if (ring_.size() < ringSize_) {
    ring_.push_back(std::move(entry));
  } else {
    ring_[next_] = std::move(entry);
    next_ = (next_ + 1) % ringSize_;
  }
}

TraceLine::TraceLine(Trace& trace, int level)
    : trace_(trace), level_(level), text_(std::make_unique<std::ostringstream>()) {}

TraceLine::~TraceLine() { trace_.line(level_, std::move(*text_).str()); }

std::ostream& TraceLine::text() { return *text_; }

std::vector<Trace::Entry> Trace::ring() const {
  std::vector<Entry> entries(ring_.begin() + static_cast<std::ptrdiff_t>(next_), ring_.end());
  entries.insert(entries.end(), ring_.begin(), ring_.begin() + static_cast<std::ptrdiff_t>(next_));
  return entries;
}

}  // namespace Platform
