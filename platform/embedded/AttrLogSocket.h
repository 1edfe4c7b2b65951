#pragma once

#include <cstddef>
#include <optional>

#include "platform/state/EntityManager.h"

namespace Platform::Embedded {

// Attribute-log output over a real socket pair. Nobody reads the far end but queueOctetsIs(), which
// makes the send queue as full as wanted.
class AttrLogSocket final : public AttrLogOutput {
 public:
  // Send buffer that the socket reports, in octets.
  static constexpr int kSendBuffer = 212992;

  AttrLogSocket();
  ~AttrLogSocket() override;

  int sockFd() const override { return fd_; }
  std::optional<int> sendBufferSize(int fd) const override;
  std::optional<int> sendQueueOctets(int fd) const override;

  // From now on the send queue reads as the smallest number of octets at or above `octets` that
  // messages can add up to, or is as full as it gets when that is more than fits; 0 empties it.
  // Nothing happens on a closed socket.
  void queueOctetsIs(std::size_t octets);

  // Both notify onSockFd. After reopen() the queue is empty and the descriptor is another one.
  void close();
  void reopen();

 private:
  // What one message of `octets` adds to an empty queue.
  int messageCost(std::size_t octets);
  void measure();
  bool send(std::size_t octets);
  void drain();
  void openPair();
  void closePair();

  int fd_ = -1;
  int peer_ = -1;
  mutable std::optional<int> queued_;  // octets in the send queue, when known
  std::size_t largeMessage_ = 0;
  int smallCost_ = 0;
  int largeCost_ = 0;
};

}  // namespace Platform::Embedded
