#include "cli/web/WebCommand.h"

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "cli/BadInput.h"
#include "cli/web/AgentFeed.h"
#include "cli/web/WebServer.h"

namespace Cli {
namespace {

// Root has no business here; nor has what a program it might start would gain.
void dropPrivileges() {
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (::geteuid() != 0) return;
  const passwd* const nobody = ::getpwnam("nobody");
  if (!nobody) throw BadInput("mrp web", "there is no user nobody to run as");
  const uid_t user = nobody->pw_uid;
  const gid_t group = nobody->pw_gid;
  if (::setgroups(0, nullptr) != 0 || ::setresgid(group, group, group) != 0 ||
      ::setresuid(user, user, user) != 0) {
    throw BadInput("mrp web", std::string("root's rights stay: ") + std::strerror(errno));
  }
}

}  // namespace

void serveWeb(const WebCommand& command, std::ostream& out) {
  const ListenAddress address = listenAddress(command.listen);
  // Signals come to the thread that waits for them, below.
  sigset_t ends;
  ::sigemptyset(&ends);
  ::sigaddset(&ends, SIGINT);
  ::sigaddset(&ends, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  ::signal(SIGPIPE, SIG_IGN);

  // Before there are threads: they all have the same rights.
  dropPrivileges();
  AgentFeed feed(command.socket);
  WebServer server(feed, address, command.names);
  const bool isV6 = address.host.find(':') != std::string::npos;
  out << "mrp web: http://" << (isV6 ? "[" + address.host + "]" : address.host) << ':'
      << server.port() << "/" << std::endl;
  std::thread waits([&] {
    int signal = 0;
    ::sigwait(&ends, &signal);
    feed.broadcast().end();
    server.stop();
  });
  server.run();
  ::pthread_kill(waits.native_handle(), SIGTERM);
  waits.join();
}

}  // namespace Cli
