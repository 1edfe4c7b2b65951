#include "tests/platform/linux/Namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace PlatformTest {

std::unique_ptr<Namespace> Namespace::make(std::string& why) {
  const int outside = ::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
  if (outside < 0 || ::unshare(CLONE_NEWNET) != 0) {
    why = std::string("no network namespace: ") + std::strerror(errno);
    if (outside >= 0) ::close(outside);
    return nullptr;
  }
  auto made = std::unique_ptr<Namespace>(new Namespace(outside));
  if (!made->ip("link add probe0 type veth peer name probe1") || !made->ip("link del probe0")) {
    why = "no pair of virtual interfaces";
    return nullptr;
  }
  // No frames but those of the test.
  std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << 1;
  return made;
}

Namespace::~Namespace() {
  if (::setns(outside_, CLONE_NEWNET) != 0) std::abort();
  ::close(outside_);
}

bool Namespace::run(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace PlatformTest
