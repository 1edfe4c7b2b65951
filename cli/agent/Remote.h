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
  std::optional<Rpc::Json> next(const std::string& method);

 private:
  std::string path_;
  std::optional<Rpc::Client> client_;
};

}  // namespace Cli
