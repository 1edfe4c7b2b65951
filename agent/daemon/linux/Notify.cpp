#include "agent/daemon/linux/Notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace Daemon {
namespace {

std::optional<std::uint64_t> numberIn(const char* name) {
  const char* text = std::getenv(name);
  if (!text) return std::nullopt;
  std::uint64_t number = 0;
  const char* const end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace

void notifyManager(const std::string& state) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (!path || (path[0] != '/' && path[0] != '@')) return;
  const std::size_t size = std::strlen(path);
  if (size >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, size);
  if (path[0] == '@') address.sun_path[0] = '\0';  // an abstract name
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + size);
  ::sendto(fd, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
           reinterpret_cast<const sockaddr*>(&address), length);
  ::close(fd);
}

std::optional<Platform::Seconds> watchdogInterval() {
  const auto micros = numberIn("WATCHDOG_USEC");
  const auto pid = numberIn("WATCHDOG_PID");
  if (!micros || *micros == 0) return std::nullopt;
  if (pid && *pid != static_cast<std::uint64_t>(::getpid())) return std::nullopt;
  return Platform::Seconds(static_cast<double>(*micros) / 2e6);
}

}  // namespace Daemon
