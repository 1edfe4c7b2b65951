#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <utility>

#include "platform/log/EventLog.h"

namespace Platform::Host {

// Keeps the latest messages, or hands each to a sink once there is one.
class EventLogRecorder final : public EventLog {
 public:
  struct Message {
    std::string handle;  // name of the message's kind
    std::string text;
    friend bool operator==(const Message&, const Message&) = default;
  };
  // Peers cause messages, so what is kept has an end.
  static constexpr std::size_t kMaxKept = 16384;
  using Sink = std::function<void(const Message&)>;

  bool isOn(const EventLogHandle&) const override { return on_; }
  void message(const EventLogHandle& handle, std::string text) override {
    if (!on_) return;
    Message message{std::string(handle.name), std::move(text)};
    if (sink_) {
      sink_(message);
    } else {
      if (messages_.size() == kMaxKept) messages_.pop_front();
      messages_.push_back(std::move(message));
    }
  }

  // On at first.
  void onIs(bool on) { on_ = on; }
  // The one sink; an empty one makes the recorder keep messages again.
  void sinkIs(Sink sink) { sink_ = std::move(sink); }
  const std::deque<Message>& messages() const { return messages_; }
  void messagesDelAll() { messages_.clear(); }

 private:
  bool on_ = true;
  Sink sink_;
  std::deque<Message> messages_;
};

}  // namespace Platform::Host
