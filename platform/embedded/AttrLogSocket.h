#pragma once

#include <cstddef>
#include <optional>

#include "platform/host/AttrLogPair.h"

namespace Platform::Embedded {

// An attribute log whose far end nobody reads but queueOctetsIs(), which makes the send queue as
// full as wanted.
class AttrLogSocket final : public Host::AttrLogPair {
 public:
  std::optional<int> sendQueueOctets(int fd) const override;

  // From now on the send queue reads as the smallest number of octets at or above `octets` that
  // messages can add up to, or is as full as it gets when that is more than fits; 0 empties it.
  // Nothing happens on a closed socket.
  void queueOctetsIs(std::size_t octets);

  void close() override;
  void reopen() override;

 private:
  // What one message of `octets` adds to an empty queue.
  int messageCost(std::size_t octets);
  void measure();
  bool fill(std::size_t octets);
  void drain();

  mutable std::optional<int> queued_;  // octets in the send queue, when known
  std::size_t largeMessage_ = 0;
  int smallCost_ = 0;
  int largeCost_ = 0;
};

}  // namespace Platform::Embedded
