#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <utility>

#include "agent/rpc/Server.h"

namespace Rpc {
namespace {

// The loop is one thread and hands each read on before the next: one buffer serves all.
std::array<char, std::size_t{64} << 10>& readBuffer() {
  static std::array<char, std::size_t{64} << 10> buffer;
  return buffer;
}

}  // namespace

Connection::Connection(Server& server, uv_loop_t* loop) : server_(&server) {
  uv_pipe_init(loop, &pipe_, 0);
  pipe_.data = this;
  write_.data = this;
}

std::optional<Peer::Credentials> Connection::credentials() const {
  uv_os_fd_t fd = -1;
  if (uv_fileno(reinterpret_cast<const uv_handle_t*>(&pipe_), &fd) != 0) return std::nullopt;
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return std::nullopt;
  return Credentials{credentials.uid, static_cast<std::uint32_t>(credentials.pid)};
}

bool Connection::mayChange() const { return server_->options().mayChange; }

void Connection::start() {
  const auto room = [](uv_handle_t*, std::size_t, uv_buf_t* buffer) {
    *buffer = uv_buf_init(readBuffer().data(), static_cast<unsigned>(readBuffer().size()));
  };
  uv_read_start(reinterpret_cast<uv_stream_t*>(&pipe_), room,
                [](uv_stream_t* stream, ssize_t size, const uv_buf_t* buffer) {
                  static_cast<Connection*>(stream->data)->handleRead(size, buffer->base);
                });
}

void Connection::handleRead(ssize_t size, const char* octets) {
  if (closing_ || size == 0) return;
  if (size < 0) return size == UV_EOF ? handleEnd() : close();
  std::string_view rest(octets, static_cast<std::size_t>(size));
  for (std::size_t end = 0; (end = rest.find('\n')) != std::string_view::npos && !closing_;) {
    const std::string_view line = rest.substr(0, end);
    if (partial_.size() + line.size() > kMaxRequest) return close();
    if (partial_.empty()) {
      handleLine(line);
    } else {
      partial_ += line;
      handleLine(std::exchange(partial_, {}));
    }
    rest.remove_prefix(end + 1);
  }
  if (closing_) return;
  partial_ += rest;
  if (partial_.size() > kMaxRequest) close();
}

// A last request need not have a line end.
void Connection::handleEnd() {
  ended_ = true;
  uv_read_stop(reinterpret_cast<uv_stream_t*>(&pipe_));
  if (!partial_.empty()) handleLine(std::exchange(partial_, {}));
  if (closing_) return;
  if (isAbandoned() || (!staysOpen_ && unread() == 0)) close();
}

bool Connection::isAbandoned() const {
  uv_os_fd_t fd = -1;
  if (uv_fileno(reinterpret_cast<const uv_handle_t*>(&pipe_), &fd) != 0) return true;
  pollfd state{fd, 0, 0};
  return ::poll(&state, 1, 0) == 1 && (state.revents & POLLHUP) != 0;
}

void Connection::handleLine(std::string_view line) {
  auto parsed = requestFrom(line);
  if (const auto* bad = std::get_if<BadRequest>(&parsed)) {
    return reply(errorLine(bad->id, bad->error));
  }
  const auto& request = std::get<Request>(parsed);
  std::string answer;
  try {
    answer = resultLine(request.id, server_->service_.call(*this, request.method, request.params));
  } catch (const Error& error) {
    answer = errorLine(request.id, error);
  }
  if (request.answered) reply(std::move(answer));
}

void Connection::reply(std::string line) {
  if (closing_) return;
  if (unread() > kMaxUnread) return close();
  send(std::move(line));
}

void Connection::event(const std::string& line) {
  if (closing_) return;
  if (hasRoom()) {
    send(line);
  } else {
    ++lost_;
  }
}

std::uint64_t Connection::takeLost() { return std::exchange(lost_, 0); }

// What is sent while a write is under way goes out in one piece with what follows it.
void Connection::send(std::string line) {
  if (waiting_.empty()) {
    waiting_ = std::move(line);
  } else {
    waiting_ += line;
  }
  if (!inWrite_) write();
}

void Connection::write() {
  writing_ = std::exchange(waiting_, {});
  const uv_buf_t buffer = uv_buf_init(writing_.data(), static_cast<unsigned>(writing_.size()));
  const int error = uv_write(&write_, reinterpret_cast<uv_stream_t*>(&pipe_), &buffer, 1,
                             [](uv_write_t* write, int status) {
                               static_cast<Connection*>(write->data)->handleWritten(status);
                             });
  inWrite_ = error == 0;
  if (error != 0) close();
}

void Connection::handleWritten(int status) {
  inWrite_ = false;
  if (closing_) return;
  if (status != 0) return close();
  if (!waiting_.empty()) return write();
  writing_ = {};
  if (ended_ && !staysOpen_) return close();
  if (lost_ > 0 && server_) server_->service_.drained(*this);
}

void Connection::close() {
  if (closing_) return;
  closing_ = true;
  uv_close(reinterpret_cast<uv_handle_t*>(&pipe_), [](uv_handle_t* handle) {
    auto* connection = static_cast<Connection*>(handle->data);
    if (connection->server_) {
      connection->server_->handleClosed(*connection);
    } else {
      delete connection;  // it has outlived its server
    }
  });
}

}  // namespace Rpc
