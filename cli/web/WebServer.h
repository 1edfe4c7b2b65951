#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/web/AgentFeed.h"

namespace Cli {

// Where to listen: "127.0.0.1:8417", "[::1]:0". Throws BadInput.
struct ListenAddress {
  std::string host;
  int port = 0;
};
ListenAddress listenAddress(const std::string& text);

// Serves the page, its data and metrics over HTTP. Everything can be read, nothing written.
class WebServer {
 public:
  // As many pages may look on at a time.
  static constexpr int kMostViewers = 160;

  // `names`: further names in a request's Host that are this server's. Listens at once; throws
  // BadInput when it cannot.
  WebServer(AgentFeed& feed, const ListenAddress& address, std::vector<std::string> names);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  int port() const;
  // Until stop() is called, from another thread.
  void run();
  void stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace Cli
