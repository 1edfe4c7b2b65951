#include "cli/web/Broadcast.h"

namespace Cli {

void Broadcast::put(const std::string& event, const std::string& data) {
  auto message =
      std::make_shared<const std::string>("event: " + event + "\ndata: " + data + "\n\n");
  const std::scoped_lock lock(mutex_);
  octets_ += message->size();
  messages_.push_back(std::move(message));
  ++last_;
  while (octets_ > kMostOctets && messages_.size() > 1) {
    octets_ -= messages_.front()->size();
    messages_.pop_front();
  }
  more_.notify_all();
}

void Broadcast::end() {
  const std::scoped_lock lock(mutex_);
  ended_ = true;
  more_.notify_all();
}

Broadcast::Number Broadcast::last() const {
  const std::scoped_lock lock(mutex_);
  return last_;
}

Broadcast::Got Broadcast::next(Number& seen, Message& message, std::chrono::milliseconds bound) {
  std::unique_lock lock(mutex_);
  more_.wait_for(lock, bound, [&] { return ended_ || seen != last_; });
  if (ended_) return Got::ended;
  if (seen == last_) return Got::nothing;
  if (seen > last_ || last_ - seen > messages_.size()) {
    seen = last_;
    return Got::tooLate;
  }
  message = messages_[messages_.size() - static_cast<std::size_t>(last_ - seen)];
  ++seen;
  return Got::message;
}

}  // namespace Cli
