#include "agent/rpc/SocketFile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace Rpc {
namespace {

[[noreturn]] void fail(const std::string& path, const std::string& why) {
  throw std::runtime_error(path + ": " + why);
}

}  // namespace

bool prepareSocketFile(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  constexpr mode_t kFolder = 0755;
  const bool made = !folder.empty() && ::mkdir(folder.c_str(), kFolder) == 0;
  if (!folder.empty() && !made && errno != EEXIST) {
    fail(path, "its folder cannot be made: " + std::string(std::strerror(errno)));
  }
  if (made && ::chmod(folder.c_str(), kFolder) != 0) fail(folder, std::strerror(errno));
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return made;
  if (!S_ISSOCK(status.st_mode)) fail(path, "is there, and is no socket");
  const int fd = connectTo(path);
  const int error = errno;
  if (fd >= 0) {
    ::close(fd);
    fail(path, "another agent answers there");
  }
  if (error == EAGAIN) fail(path, "another agent is there, and does not answer");
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    fail(path, "the old socket cannot be removed: " + std::string(std::strerror(errno)));
  }
  return made;
}

int connectTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return -1;
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  const int error = errno;
  ::close(fd);
  errno = error;
  return -1;
}

}  // namespace Rpc
