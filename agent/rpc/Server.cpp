#include "agent/rpc/Server.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "agent/rpc/SocketFile.h"

namespace Rpc {

// Closing takes a turn of the loop, so that what is closed outlives the server.
struct Server::Listener {
  uv_pipe_t pipe{};
  Server* server = nullptr;

  uv_handle_t* handle() { return reinterpret_cast<uv_handle_t*>(&pipe); }
  uv_stream_t* stream() { return reinterpret_cast<uv_stream_t*>(&pipe); }
  void close() {
    server = nullptr;
    uv_close(handle(), [](uv_handle_t* h) { delete static_cast<Listener*>(h->data); });
  }
};

namespace {

// Gives a file to an owner and a group; 0, or libuv's number of an error.
int hand(const std::string& path, std::optional<uid_t> owner, std::optional<gid_t> group) {
  if (!owner && !group) return 0;
  constexpr auto kSame = static_cast<uid_t>(-1);
  const int result = ::chown(path.c_str(), owner.value_or(kSame), group.value_or(kSame));
  return result == 0 ? 0 : uv_translate_sys_error(errno);
}

}  // namespace

Server::Server(uv_loop_t* loop, const Options& options, Service& service)
    : loop_(loop), options_(options), service_(service), listener_(new Listener) {
  listener_->pipe.data = listener_;
  listener_->server = this;
  uv_pipe_init(loop, &listener_->pipe, 0);
  try {
    const bool madeFolder = prepareSocketFile(options.path);
    // Nobody may connect before the permissions are what they shall be.
    const mode_t before = ::umask(0177);
    int error = uv_pipe_bind(&listener_->pipe, options.path.c_str());
    ::umask(before);
    if (error == 0) error = hand(options.path, options.owner, options.group);
    const std::string folder = std::filesystem::path(options.path).parent_path();
    if (error == 0 && madeFolder) error = hand(folder, options.owner, options.group);
    if (error == 0 && ::chmod(options.path.c_str(), options.mode) != 0) {
      error = uv_translate_sys_error(errno);
    }
    const auto handle = [](uv_stream_t* stream, int status) {
      auto* listener = static_cast<Listener*>(stream->data);
      if (status == 0 && listener->server) listener->server->handleConnection();
    };
    if (error == 0) error = uv_listen(listener_->stream(), kMaxConnections, handle);
    if (error != 0) throw std::runtime_error(options.path + ": " + uv_strerror(error));
  } catch (...) {
    listener_->close();
    throw;
  }
}

Server::~Server() {
  listener_->close();
  for (auto& connection : connections_) {
    Connection* const c = connection.release();  // deleted by its closing
    service_.gone(*c);
    c->server_ = nullptr;
    c->close();
  }
}

std::size_t Server::connections() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(connections_, [](const auto& c) { return !c->closing_; }));
}

void Server::handleConnection() {
  for (const auto& c : connections_) {
    if (c->ended_ && c->staysOpen_ && c->isAbandoned()) c->close();
  }
  const bool full = connections() >= kMaxConnections;
  connections_.push_back(std::make_unique<Connection>(*this, loop_));
  Connection& connection = *connections_.back();
  auto* stream = reinterpret_cast<uv_stream_t*>(&connection.pipe_);
  if (uv_accept(listener_->stream(), stream) != 0 || full) return connection.close();
  connection.start();
}

void Server::handleClosed(Connection& connection) {
  const auto it = std::ranges::find(connections_, &connection, &std::unique_ptr<Connection>::get);
  service_.gone(connection);
  connections_.erase(it);
}

}  // namespace Rpc
