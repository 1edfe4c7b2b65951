#include "platform/embedded/AttrLogSocket.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

namespace Platform::Embedded {
namespace {

constexpr std::array<std::size_t, 4> kLargeMessages{256, 512, 1024, 2048};
constexpr std::size_t kSmallMessage = 1;

}  // namespace

// Both ends are this object's own, so that only fill() and drain() change the queue: the kernel is
// asked again after those, not at every question.
std::optional<int> AttrLogSocket::sendQueueOctets(int fd) const {
  if (fd != sockFd()) return AttrLogPair::sendQueueOctets(fd);
  if (!queued_) queued_ = AttrLogPair::sendQueueOctets(fd);
  return queued_;
}

// The queue counts what the kernel spends on each message, not its octets. Two sizes of different
// cost reach every multiple of their greatest common divisor from a small number on.
void AttrLogSocket::queueOctetsIs(std::size_t octets) {
  if (sockFd() < 0) return;
  drain();
  measure();
  if (octets == 0 || smallCost_ <= 0 || largeCost_ <= 0) return;
  const auto small = static_cast<std::size_t>(smallCost_);
  const auto large = static_cast<std::size_t>(largeCost_);
  octets = std::min(octets, std::size_t{2} * kSendBuffer);
  std::size_t best = std::numeric_limits<std::size_t>::max();
  std::size_t bestLarge = 0;
  for (std::size_t n = 0; n <= octets / large + 1; ++n) {
    const std::size_t rest = octets - std::min(octets, n * large);
    const std::size_t total = n * large + (rest + small - 1) / small * small;
    if (total < best) {
      best = total;
      bestLarge = n;
    }
  }
  std::size_t smallCount = (best - bestLarge * large) / small;
  while (bestLarge-- > 0 && fill(largeMessage_)) {
  }
  while (smallCount-- > 0 && fill(kSmallMessage)) {
  }
}

int AttrLogSocket::messageCost(std::size_t octets) {
  fill(octets);
  const int cost = sendQueueOctets(sockFd()).value_or(0);
  drain();
  return cost;
}

void AttrLogSocket::measure() {
  if (largeMessage_ != 0) return;
  smallCost_ = messageCost(kSmallMessage);
  for (const std::size_t size : kLargeMessages) {
    const int cost = messageCost(size);
    if (largeMessage_ == 0 || std::gcd(smallCost_, cost) < std::gcd(smallCost_, largeCost_)) {
      largeMessage_ = size;
      largeCost_ = cost;
    }
  }
}

bool AttrLogSocket::fill(std::size_t octets) {
  static constexpr std::array<std::uint8_t, kLargeMessages.back()> kOctets{};
  queued_.reset();
  return send(std::span(kOctets).first(octets));
}

void AttrLogSocket::drain() {
  std::array<char, 16> head{};
  queued_.reset();
  while (::recv(peerFd(), head.data(), head.size(), MSG_DONTWAIT | MSG_TRUNC) > 0) {
  }
}

void AttrLogSocket::close() {
  queued_.reset();
  AttrLogPair::close();
}

void AttrLogSocket::reopen() {
  queued_.reset();
  AttrLogPair::reopen();
}

}  // namespace Platform::Embedded
