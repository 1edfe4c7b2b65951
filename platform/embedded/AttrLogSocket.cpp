#include "platform/embedded/AttrLogSocket.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

namespace Platform::Embedded {
namespace {

constexpr std::array<std::size_t, 4> kLargeMessages{256, 512, 1024, 2048};
constexpr std::size_t kSmallMessage = 1;
constexpr unsigned long kOutputQueue = TIOCOUTQ;  // SIOCOUTQ is another name of it

}  // namespace

AttrLogSocket::AttrLogSocket() { openPair(); }

AttrLogSocket::~AttrLogSocket() { closePair(); }

std::optional<int> AttrLogSocket::sendBufferSize(int fd) const {
  int size = 0;
  socklen_t length = sizeof size;
  if (::getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0) return std::nullopt;
  return size;
}

// Both ends are this object's own, so that only send() and drain() change the queue: the kernel is
// asked again after those, not at every question.
std::optional<int> AttrLogSocket::sendQueueOctets(int fd) const {
  if (fd == fd_ && queued_) return queued_;
  int octets = 0;
  if (::ioctl(fd, kOutputQueue, &octets) != 0) return std::nullopt;
  if (fd == fd_) queued_ = octets;
  return octets;
}

// The queue counts what the kernel spends on each message, not its octets. Two sizes of different
// cost reach every multiple of their greatest common divisor from a small number on.
void AttrLogSocket::queueOctetsIs(std::size_t octets) {
  if (fd_ < 0) return;
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
  while (bestLarge-- > 0 && send(largeMessage_)) {
  }
  while (smallCount-- > 0 && send(kSmallMessage)) {
  }
}

int AttrLogSocket::messageCost(std::size_t octets) {
  send(octets);
  const int cost = sendQueueOctets(fd_).value_or(0);
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

bool AttrLogSocket::send(std::size_t octets) {
  static constexpr std::array<char, kLargeMessages.back()> kOctets{};
  queued_.reset();
  return ::send(fd_, kOctets.data(), octets, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void AttrLogSocket::drain() {
  std::array<char, 16> head{};
  queued_.reset();
  while (::recv(peer_, head.data(), head.size(), MSG_DONTWAIT | MSG_TRUNC) > 0) {
  }
}

void AttrLogSocket::close() {
  if (fd_ < 0) return;
  closePair();
  onSockFd().notify();
}

void AttrLogSocket::reopen() {
  const int oldFd = fd_;
  const int oldPeer = peer_;
  openPair();  // before the old pair is closed, or its descriptors would come back
  if (oldFd >= 0) ::close(oldFd);
  if (oldPeer >= 0) ::close(oldPeer);
  onSockFd().notify();
}

void AttrLogSocket::openPair() {
  fd_ = peer_ = -1;
  queued_.reset();
  std::array<int, 2> fds{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds.data()) != 0) return;
  fd_ = fds[0];
  peer_ = fds[1];
  const int half = kSendBuffer / 2;  // the kernel doubles what it is given
  ::setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &half, sizeof half);
}

void AttrLogSocket::closePair() {
  if (fd_ >= 0) ::close(fd_);
  if (peer_ >= 0) ::close(peer_);
  fd_ = peer_ = -1;
  queued_.reset();
}

}  // namespace Platform::Embedded
