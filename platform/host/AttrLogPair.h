#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/state/EntityManager.h"

namespace Platform::Host {

// Attribute-log output over a socket pair that keeps the bounds of messages. Whoever reads the far
// end, perhaps on another thread, makes room in the send queue.
class AttrLogPair : public AttrLogOutput {
 public:
  // Send buffer that the socket reports, in octets.
  static constexpr int kSendBuffer = 212992;

  AttrLogPair();
  ~AttrLogPair() override;

  int sockFd() const override { return fd_; }
  std::optional<int> sendBufferSize(int fd) const override;
  std::optional<int> sendQueueOctets(int fd) const override;

  // The far end; -1 when the log is closed. It belongs to this object.
  int peerFd() const { return peer_; }
  // Without waiting; false when there is no room for the message or the log is closed.
  bool send(std::span<const std::uint8_t> message);

  // Both notify onSockFd. After reopen() the queue is empty and the descriptors are others.
  virtual void close();
  virtual void reopen();

 private:
  void openPair();
  void closePair();

  int fd_ = -1;
  int peer_ = -1;
};

}  // namespace Platform::Host
