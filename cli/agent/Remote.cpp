#include "cli/agent/Remote.h"

#include <grp.h>
#include <sys/stat.h>

#include <cstring>

#include "cli/agent/AgentCommands.h"

namespace Cli {
namespace {

std::string groupOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  const group* entry = ::getgrgid(status.st_gid);
  return entry ? entry->gr_name : std::to_string(status.st_gid);
}

CommandEnd endFor(const std::string& path, const std::system_error& error) {
  const int code = error.code().value();
  if (code == EACCES || code == EPERM) {
    const std::string group = groupOf(path);
    return {ExitStatus::kRefused,
            path + ": permission denied" +
                (group.empty() ? "" : "; it is for root and for group " + group)};
  }
  return {ExitStatus::kNoAgent, "no agent at " + path + ": " + std::strerror(code)};
}

}  // namespace

Remote::Remote(const std::string& path) : path_(path) {
  try {
    client_.emplace(path);
  } catch (const std::system_error& error) {
    throw endFor(path, error);
  }
}

template <class Call>
auto Remote::guarded(Call call) {
  try {
    return call();
  } catch (const Rpc::Error& error) {
    const std::string reason = error.reason();
    throw CommandEnd(ExitStatus::kRefused,
                     std::string(error.what()) + (reason.empty() ? "" : " (" + reason + ")"));
  } catch (const std::system_error& error) {
    throw CommandEnd(ExitStatus::kRefused, path_ + ": " + error.what());
  }
}

Rpc::Json Remote::call(const std::string& method, const Rpc::Json& params) {
  return guarded([&] { return client_->call(method, params); });
}

std::string Remote::callText(const std::string& method, const Rpc::Json& params) {
  return guarded([&] { return client_->callText(method, params); });
}

std::optional<Rpc::Json> Remote::next(const std::string& method) {
  try {
    return client_->next(method);
  } catch (const std::system_error& error) {
    throw CommandEnd(ExitStatus::kRefused, path_ + ": " + error.what());
  }
}

}  // namespace Cli
