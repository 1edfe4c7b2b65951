#pragma once

#include <deque>
#include <optional>
#include <string>
#include <system_error>

#include "agent/rpc/Message.h"

namespace Rpc {

// A blocking client. Whatever goes wrong with the connection is a std::system_error, an answer
// that is an error an Rpc::Error.
class Client {
 public:
  explicit Client(const std::string& path);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  Json call(const std::string& method, const Json& params = Json::object());
  // The same, with the result as the server put it into words.
  std::string callText(const std::string& method, const Json& params = Json::object());
  // The params of the next notification of this method; none when the server has ended the
  // connection.
  std::optional<Json> next(const std::string& method);
  // Whether there is one already that next() gives without the server sending more, as far as it
  // can be told without reading; and what to poll for more. For those who wait for other things,
  // too.
  bool hasNotification() const { return !notifications_.empty() || hasLine(); }
  int fd() const { return fd_; }

 private:
  bool hasLine() const { return buffer_.find('\n', searched_) != std::string::npos; }
  void send(std::string_view octets);
  // The next line; none at the end.
  std::optional<std::string> readLine();
  std::optional<Json> read();
  // The line that answers the request that was sent last, and the result in one.
  std::string answer();
  static Json resultOf(Json answer, const Json& id);

  int fd_;
  std::int64_t lastId_ = 0;
  std::string buffer_;
  std::size_t searched_ = 0;  // of the buffer, without a line end
  std::deque<Json> notifications_;
};

}  // namespace Rpc
