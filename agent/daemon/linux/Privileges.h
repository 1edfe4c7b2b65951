#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Daemon {

struct UserIds {
  uid_t uid;
  gid_t gid;
};

// By name. None when there is no such user or group.
std::optional<UserIds> userNamed(const std::string& name);
std::optional<gid_t> groupNamed(const std::string& name);

// Keeps CAP_NET_ADMIN and CAP_NET_RAW, as far as the process has them, drops every other
// capability, and becomes `user` when there is one. Throws std::runtime_error when that fails.
void dropPrivileges(const std::optional<UserIds>& user);

}  // namespace Daemon
