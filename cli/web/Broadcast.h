#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace Cli {

// Messages for any number of viewers, who read at their own pace from one bounded history: a slow
// one costs nothing, and begins anew when what it has not read yet is gone.
class Broadcast {
 public:
  using Message = std::shared_ptr<const std::string>;
  using Number = std::uint64_t;
  static constexpr std::size_t kMostOctets = std::size_t{8} << 20;

  // As a server-sent event.
  void put(const std::string& event, const std::string& data);
  // From now on nobody waits any more.
  void end();
  // Of the last message.
  Number last() const;

  enum class Got : std::uint8_t { message, nothing, tooLate, ended };
  // The message after the number `seen`, which moves on; nothing when none comes in time.
  Got next(Number& seen, Message& message, std::chrono::milliseconds bound);

 private:
  mutable std::mutex mutex_;
  std::condition_variable more_;
  std::deque<Message> messages_;
  Number last_ = 0;
  std::size_t octets_ = 0;
  bool ended_ = false;
};

}  // namespace Cli
