#include "platform/host/AttrLogPair.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace Platform::Host {
namespace {

constexpr unsigned long kOutputQueue = TIOCOUTQ;  // SIOCOUTQ is another name of it

}  // namespace

AttrLogPair::AttrLogPair() { openPair(); }

AttrLogPair::~AttrLogPair() { closePair(); }

std::optional<int> AttrLogPair::sendBufferSize(int fd) const {
  int size = 0;
  socklen_t length = sizeof size;
  if (::getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0) return std::nullopt;
  return size;
}

std::optional<int> AttrLogPair::sendQueueOctets(int fd) const {
  int octets = 0;
  if (::ioctl(fd, kOutputQueue, &octets) != 0) return std::nullopt;
  return octets;
}

bool AttrLogPair::send(std::span<const std::uint8_t> message) {
  return ::send(fd_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void AttrLogPair::close() {
  if (fd_ < 0) return;
  closePair();
  onSockFd().notify();
}

void AttrLogPair::reopen() {
  const int oldFd = fd_;
  const int oldPeer = peer_;
  openPair();  // before the old pair is closed, or its descriptors would come back
  if (oldFd >= 0) ::close(oldFd);
  if (oldPeer >= 0) ::close(oldPeer);
  onSockFd().notify();
}

void AttrLogPair::openPair() {
  fd_ = peer_ = -1;
  std::array<int, 2> fds{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds.data()) != 0) return;
  fd_ = fds[0];
  peer_ = fds[1];
  const int half = kSendBuffer / 2;  // the kernel doubles what it is given
  ::setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &half, sizeof half);
}

void AttrLogPair::closePair() {
  if (fd_ >= 0) ::close(fd_);
  if (peer_ >= 0) ::close(peer_);
  fd_ = peer_ = -1;
}

}  // namespace Platform::Host
