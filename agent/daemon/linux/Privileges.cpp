#include "agent/daemon/linux/Privileges.h"

#include <cap-ng.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace Daemon {

std::optional<UserIds> userNamed(const std::string& name) {
  errno = 0;
  const passwd* entry = ::getpwnam(name.c_str());
  if (!entry) return std::nullopt;
  return UserIds{entry->pw_uid, entry->pw_gid};
}

std::optional<gid_t> groupNamed(const std::string& name) {
  const group* entry = ::getgrnam(name.c_str());
  if (!entry) return std::nullopt;
  return entry->gr_gid;
}

void dropPrivileges(const std::optional<UserIds>& user) {
  capng_get_caps_process();
  const bool admin = capng_have_capability(CAPNG_PERMITTED, CAP_NET_ADMIN);
  const bool raw = capng_have_capability(CAPNG_PERMITTED, CAP_NET_RAW);
  const bool bounded = capng_have_capability(CAPNG_EFFECTIVE, CAP_SETPCAP);
  capng_clear(CAPNG_SELECT_BOTH);
  const auto both = static_cast<capng_type_t>(CAPNG_EFFECTIVE | CAPNG_PERMITTED);
  if (admin) capng_update(CAPNG_ADD, both, CAP_NET_ADMIN);
  if (raw) capng_update(CAPNG_ADD, both, CAP_NET_RAW);
  int result = 0;
  if (user) {
    result = capng_change_id(static_cast<int>(user->uid), static_cast<int>(user->gid),
                             static_cast<capng_flags_t>(CAPNG_INIT_SUPP_GRP |
                                                        CAPNG_CLEAR_BOUNDING));
  } else {
    result = capng_apply(bounded ? CAPNG_SELECT_BOTH : CAPNG_SELECT_CAPS);
  }
  if (result != 0) {
    throw std::runtime_error("privileges cannot be dropped (" + std::to_string(result) + ")");
  }
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
}

}  // namespace Daemon
