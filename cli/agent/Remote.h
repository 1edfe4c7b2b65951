#pragma once

#include <string>

#include "agent/rpc/Client.h"

namespace Cli {

// A command that ended early, with its exit status and what is to be told.
class CommandEnd : public std::runtime_error {
 public:
  CommandEnd(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// The agent behind a socket. Everything that goes wrong is a CommandEnd.
class Remote {
 public:
  explicit Remote(const std::string& path);
  Rpc::Json call(const std::string& method, const Rpc::Json& params = Rpc::Json::object());
  // The result as the agent put it into words.
  std::string callText(const std::string& method, const Rpc::Json& params);
  std::optional<Rpc::Json> next(const std::string& method);

 private:
  template <class Call>
  auto guarded(Call call);

  std::string path_;
  std::optional<Rpc::Client> client_;
};

}  // namespace Cli
