#include "agent/rpc/Client.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "agent/rpc/SocketFile.h"

namespace Rpc {
namespace {

[[noreturn]] void fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

Client::Client(const std::string& path) : fd_(connectTo(path)) {
  if (fd_ < 0) throw std::system_error(errno, std::generic_category(), path);
}

Client::~Client() { ::close(fd_); }

Json Client::call(const std::string& method, const Json& params) {
  const Json id = ++lastId_;
  send(requestLine(id, method, params));
  while (auto line = read()) {
    if (line->contains("method")) {
      notifications_.push_back(std::move(*line));
      continue;
    }
    if (line->contains("error")) {
      const Json& error = (*line)["error"];
      throw Error(error.value("code", 0), error.value("message", std::string()),
                  error.value("data", Json()));
    }
    if (line->value("id", Json()) == id && line->contains("result")) {
      return std::move((*line)["result"]);
    }
    fail(EPROTO, "the answer is none");
  }
  fail(ECONNRESET, "the agent ended the connection");
}

std::optional<Json> Client::next(const std::string& method) {
  while (true) {
    std::optional<Json> line;
    if (notifications_.empty()) {
      line = read();
    } else {
      line = std::move(notifications_.front());
      notifications_.pop_front();
    }
    if (!line) return std::nullopt;
    if (line->value("method", std::string()) == method) return line->value("params", Json());
  }
}

void Client::send(std::string_view octets) {
  while (!octets.empty()) {
    const ssize_t sent = ::send(fd_, octets.data(), octets.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) fail(errno, "the agent ended the connection");
    octets.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::optional<Json> Client::read() {
  std::array<char, std::size_t{64} << 10> octets;
  while (true) {
    const std::size_t end = buffer_.find('\n', searched_);
    if (end != std::string::npos) {
      Json json = Json::parse(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(end),
                              nullptr, false);
      buffer_.erase(0, end + 1);
      searched_ = 0;
      if (!json.is_object()) fail(EPROTO, "the answer is none");
      return json;
    }
    searched_ = buffer_.size();
    const ssize_t size = ::recv(fd_, octets.data(), octets.size(), 0);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && errno != ECONNRESET) fail(errno, "the agent cannot be read");
    if (size <= 0) return std::nullopt;
    buffer_.append(octets.data(), static_cast<std::size_t>(size));
  }
}

}  // namespace Rpc
