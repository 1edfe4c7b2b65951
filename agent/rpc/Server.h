#pragma once

#include <sys/types.h>
#include <uv.h>

#include <list>
#include <memory>
#include <optional>
#include <string>

#include "agent/rpc/Message.h"

namespace Rpc {

class Server;

// One client of a server, as methods see it. Lives until its Service has been told that it is gone.
class Peer {
 public:
  // Who made the connection, where the host tells.
  struct Credentials {
    std::uint32_t user;
    std::uint32_t process;
  };
  virtual std::optional<Credentials> credentials() const { return std::nullopt; }
  // Whether its socket takes requests that change something.
  virtual bool mayChange() const = 0;
  // Sends a notification, made by notificationLine(), unless too much waits unread: then it is
  // counted as lost.
  virtual void event(const std::string& line) = 0;
  // How many events were left out since the last call.
  virtual std::uint64_t takeLost() = 0;
  // Whether as much has been read again that events go out.
  virtual bool hasRoom() const = 0;
  // From now on the connection stays open when the client sends no more.
  virtual void staysOpenIs(bool stays) = 0;

 protected:
  ~Peer() = default;
};

class Connection final : public Peer {
 public:
  // Longest request, without its line end.
  static constexpr std::size_t kMaxRequest = std::size_t{64} << 10;
  // A reply that would wait behind more unread octets than this ends the connection.
  static constexpr std::size_t kMaxUnread = std::size_t{1} << 20;
  // Events are left out while more octets than this are unread.
  static constexpr std::size_t kMaxUnreadEvents = std::size_t{4} << 20;

  Connection(Server& server, uv_loop_t* loop);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::optional<Credentials> credentials() const override;
  bool mayChange() const override;
  void event(const std::string& line) override;
  std::uint64_t takeLost() override;
  bool hasRoom() const override { return unread() <= kMaxUnreadEvents; }
  void staysOpenIs(bool stays) override { staysOpen_ = stays; }

  // Ends the connection once the callbacks of this loop turn are through; unsent octets are lost.
  void close();

 private:
  friend class Server;
  void start();
  void handleRead(ssize_t size, const char* octets);
  void handleEnd();
  void handleLine(std::string_view line);
  void reply(std::string line);
  void send(std::string line);
  void write();
  void handleWritten(int status);
  std::size_t unread() const {
    return uv_stream_get_write_queue_size(reinterpret_cast<const uv_stream_t*>(&pipe_)) +
           waiting_.size();
  }
  // The client shut down its writing side and then went away altogether.
  bool isAbandoned() const;

  Server* server_;  // null once it has ended
  uv_pipe_t pipe_{};
  uv_write_t write_{};
  std::string partial_;  // of a request
  std::string waiting_;  // not yet handed to the loop
  std::string writing_;  // handed to it
  std::uint64_t lost_ = 0;
  bool inWrite_ = false;
  bool staysOpen_ = false;
  bool ended_ = false;  // no more requests
  bool closing_ = false;
};

// What carries out the requests of a server.
class Service {
 public:
  // The text of the result, or an Error thrown. The peer may be kept for events until it has gone.
  virtual std::string call(Peer& peer, const std::string& method, const Json& params) = 0;
  virtual void gone(Peer& peer) = 0;
  // A peer for which events were left out has read all that waited.
  virtual void drained(Peer&) {}

 protected:
  ~Service() = default;
};

// Serves one unix socket on a loop. It is made, and it ends, outside of its own callbacks.
class Server {
 public:
  static constexpr std::size_t kMaxConnections = 64;

  struct Options {
    std::string path;
    mode_t mode = 0660;
    std::optional<gid_t> group;
    bool mayChange = true;
    // Who removes the socket at the end; a folder that is made for it is theirs, too.
    std::optional<uid_t> owner{};
  };

  // Listens at once. Throws std::runtime_error with a text for people.
  Server(uv_loop_t* loop, const Options& options, Service& service);
  // Ends every connection and removes the socket file.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  const Options& options() const { return options_; }
  std::size_t connections() const;

 private:
  friend class Connection;
  struct Listener;
  void handleConnection();
  void handleClosed(Connection& connection);

  uv_loop_t* loop_;
  Options options_;
  Service& service_;
  Listener* listener_;  // ends by itself once the loop has closed it
  std::list<std::unique_ptr<Connection>> connections_;
};

}  // namespace Rpc
