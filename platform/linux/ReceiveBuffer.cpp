#include "platform/linux/ReceiveBuffer.h"

#include <sys/socket.h>

namespace Platform::Linux {

void enlargeReceiveBuffer(int fd) {
  constexpr int kOctets = 4 << 20;
  if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kOctets, sizeof kOctets) != 0) {
    ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kOctets, sizeof kOctets);
  }
}

}  // namespace Platform::Linux
