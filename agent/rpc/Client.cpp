#include "agent/rpc/Client.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "agent/rpc/SocketFile.h"

namespace Rpc {
namespace {

[[noreturn]] void fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

Json parsed(const std::string& line) {
  Json json = Json::parse(line, nullptr, false);
  if (!json.is_object()) fail(EPROTO, "the answer is none");
  return json;
}

}  // namespace

Client::Client(const std::string& path) : fd_(connectTo(path)) {
  if (fd_ < 0) throw std::system_error(errno, std::generic_category(), path);
}

Client::~Client() { ::close(fd_); }

Json Client::call(const std::string& method, const Json& params) {
  send(requestLine(++lastId_, method, params));
  return resultOf(parsed(answer()), lastId_);
}

std::string Client::callText(const std::string& method, const Json& params) {
  send(requestLine(++lastId_, method, params));
  std::string line = answer();
  const std::string prefix = resultPrefix(lastId_);
  if (!line.starts_with(prefix) || !line.ends_with('}')) {
    return resultOf(parsed(line), lastId_).dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  line.pop_back();
  return line.erase(0, prefix.size());
}

// Notifications stand between answers, and begin with another member.
std::string Client::answer() {
  const std::string id = R"({"jsonrpc":"2.0","id":)";
  while (auto line = readLine()) {
    if (line->starts_with(id)) return std::move(*line);
    Json json = parsed(*line);
    if (!json.contains("method")) return std::move(*line);
    notifications_.push_back(std::move(json));
  }
  fail(ECONNRESET, "the agent ended the connection");
}

Json Client::resultOf(Json answer, const Json& id) {
  if (answer.contains("error")) {
    const Json& error = answer["error"];
    throw Error(error.value("code", 0), error.value("message", std::string()),
                error.value("data", Json()));
  }
  if (answer.value("id", Json()) != id || !answer.contains("result")) {
    fail(EPROTO, "the answer is none");
  }
  return std::move(answer["result"]);
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
  const auto line = readLine();
  if (!line) return std::nullopt;
  return parsed(*line);
}

std::optional<std::string> Client::readLine() {
  std::array<char, std::size_t{64} << 10> octets;
  while (true) {
    const std::size_t end = buffer_.find('\n', searched_);
    if (end != std::string::npos) {
      std::string line = std::exchange(buffer_, buffer_.substr(end + 1));
      line.resize(end);
      searched_ = 0;
      return line;
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
