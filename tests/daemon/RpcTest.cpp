// JSON-RPC on a unix socket: answers, order, limits, and clients that mean no good.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include "agent/rpc/Client.h"
#include "agent/rpc/Server.h"
#include "agent/rpc/SocketFile.h"
#include "tests/replay/Support.h"

namespace DaemonTest {
namespace {

using namespace Rpc;

// Echoes, refuses, gives large results, and keeps one watcher.
class Echo final : public Service {
 public:
  std::string call(Peer& connection, const std::string& method, const Json& params) override {
    return textOf(resultOf(connection, method, params));
  }
  Json resultOf(Peer& connection, const std::string& method, const Json& params) {
    if (method == "echo") return params;
    if (method == "large") return std::string(params["size"].get<std::size_t>(), 'x');
    if (method == "refuse") throw Error::refused("standby", "not now");
    if (method == "count") return ++calls;
    if (method == "watch") {
      watcher = &connection;
      connection.staysOpenIs(true);
      return Json::object();
    }
    throw Error(Code::kMethodNotFound, "no such method");
  }
  void gone(Peer& connection) override {
    ++ended;
    if (watcher == &connection) watcher = nullptr;
  }

  int calls = 0;
  int ended = 0;
  Peer* watcher = nullptr;
};

// A client that reads only when it is told to.
class RawClient {
 public:
  explicit RawClient(const std::string& path) : fd_(connectTo(path)) {
    EXPECT_GE(fd_, 0) << std::strerror(errno);
    ::fcntl(fd_, F_SETFL, O_NONBLOCK);
  }
  ~RawClient() { close(); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  void close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }
  // How many octets went out.
  std::size_t write(std::string_view text) {
    const ssize_t n = ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
    return n < 0 ? 0 : static_cast<std::size_t>(n);
  }
  void shutDownWriting() { ::shutdown(fd_, SHUT_WR); }
  void read() {
    std::string some(65536, 0);
    ssize_t n = 0;
    while ((n = ::recv(fd_, some.data(), some.size(), 0)) > 0) {
      got.append(some.data(), static_cast<std::size_t>(n));
    }
    ended = n == 0 || (errno != EAGAIN && errno != EINTR);
  }
  std::vector<std::string> lines() const {
    std::vector<std::string> lines;
    for (std::size_t at = 0, end = 0; (end = got.find('\n', at)) != std::string::npos;) {
      lines.push_back(got.substr(at, end - at));
      at = end + 1;
    }
    return lines;
  }

  std::string got;
  bool ended = false;

 private:
  int fd_;
};

class RpcTest : public testing::Test {
 protected:
  RpcTest() {
    uv_loop_init(&loop);
    uv_timer_init(&loop, &guard_);
    server.emplace(&loop, Server::Options{dir.path("s"), 0600, {}, true}, echo);
  }
  ~RpcTest() override {
    server.reset();
    uv_close(reinterpret_cast<uv_handle_t*>(&guard_), nullptr);
    uv_run(&loop, UV_RUN_DEFAULT);
    EXPECT_EQ(uv_loop_close(&loop), 0);
  }
  // Turns the loop until something holds; the guard only ends a test that hangs.
  bool until(const std::function<bool()>& holds) {
    bool late = false;
    guard_.data = &late;
    uv_timer_start(
        &guard_, [](uv_timer_t* t) { *static_cast<bool*>(t->data) = true; }, 20000, 0);
    while (!holds() && !late) uv_run(&loop, UV_RUN_ONCE);
    uv_timer_stop(&guard_);
    return !late;
  }
  std::vector<std::string> linesOf(RawClient& client, std::size_t n) {
    EXPECT_TRUE(until([&] {
      client.read();
      return client.lines().size() >= n || client.ended;
    }));
    return client.lines();
  }
  std::vector<std::string> answers(std::string_view text, std::size_t n) {
    RawClient client(dir.path("s"));
    client.write(text);
    return linesOf(client, n);
  }
  bool endsOf(RawClient& client) {
    return until([&] {
      client.read();
      return client.ended;
    });
  }

  uv_loop_t loop{};
  ReplayTest::TempDir dir;
  Echo echo;
  std::optional<Server> server;

 private:
  uv_timer_t guard_{};
};

TEST_F(RpcTest, AnswersByTheRules) {
  const auto error = [](const std::string& id, int code) {
    return testing::StartsWith(R"({"jsonrpc":"2.0","id":)" + id + R"(,"error":{"code":)" +
                               std::to_string(code));
  };
  const std::vector<std::pair<std::string, testing::Matcher<std::string>>> cases{
      {R"({"jsonrpc":"2.0","id":1,"method":"echo","params":{"a":[1]}})",
       R"({"jsonrpc":"2.0","id":1,"result":{"a":[1]}})"},
      {R"({"method":"echo","id":"x","jsonrpc":"2.0"})",
       R"({"jsonrpc":"2.0","id":"x","result":{}})"},
      {R"({"jsonrpc":"2.0","id":3,"method":"refuse"})",
       R"({"jsonrpc":"2.0","id":3,"error":{"code":-32000,"message":"not now",)"
       R"("data":{"reason":"standby"}}})"},
      {R"({"jsonrpc":"2.0","id":4,"method":"nothing"})", error("4", -32601)},
      {R"({"jsonrpc":"2.0",)", error("null", -32700)},
      {"\xff\xfe", error("null", -32700)},
      {R"([{"jsonrpc":"2.0","id":5,"method":"echo"}])", error("null", -32600)},
      {R"({"id":6,"method":"echo"})", error("6", -32600)},
      {R"({"jsonrpc":2.0,"id":6,"method":"echo"})", error("6", -32600)},
      {R"({"jsonrpc":"2.0","id":{},"method":"echo"})", error("null", -32600)},
      {R"({"jsonrpc":"2.0","id":7,"method":7})", error("7", -32600)},
      {R"({"jsonrpc":"2.0","id":8,"method":"echo","params":3})", error("8", -32600)},
      {"17", error("null", -32600)},
      {std::string(60000, '['), error("null", -32700)},
  };
  for (const auto& [request, answer] : cases) {
    EXPECT_THAT(answers(request + "\n", 1), testing::ElementsAre(answer)) << request;
  }
}

TEST_F(RpcTest, NotificationsAreCarriedOutAndNotAnswered) {
  EXPECT_THAT(answers("{\"jsonrpc\":\"2.0\",\"method\":\"count\"}\n"
                      "{\"jsonrpc\":\"2.0\",\"method\":\"nothing\"}\n"
                      "{\"jsonrpc\":\"2.0\",\"method\":\"count\",\"id\":9}\n",
                      1),
              testing::ElementsAre(R"({"jsonrpc":"2.0","id":9,"result":2})"));
}

// A client that writes everything, says so, and only then reads; its last line has no end.
TEST_F(RpcTest, AnswersComeInOrderAlsoBehindTheLastRequest) {
  RawClient client(dir.path("s"));
  std::string text;
  for (int i = 0; i < 500; ++i) {
    text += R"({"jsonrpc":"2.0","method":"echo","id":)" + std::to_string(i) + "}\n";
  }
  text.pop_back();
  ASSERT_EQ(client.write(text), text.size());
  client.shutDownWriting();
  ASSERT_TRUE(endsOf(client));
  const auto lines = client.lines();
  ASSERT_EQ(lines.size(), 500u);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(Json::parse(lines[i])["id"], i);
  }
}

TEST_F(RpcTest, ARequestTooLongEndsItsConnectionAndNoOther) {
  RawClient good(dir.path("s"));
  const std::string head = R"({"jsonrpc":"2.0","id":1,"method":"echo","params":{"a":")";
  const std::string tail = R"("}})";
  const std::string fits =
      head + std::string(Connection::kMaxRequest - head.size() - tail.size(), 'x') + tail;
  RawClient longest(dir.path("s"));
  ASSERT_EQ(longest.write(fits + "\n"), fits.size() + 1);
  EXPECT_EQ(linesOf(longest, 1).size(), 1u);

  for (const std::string& text : {fits + " \n", std::string(3 * Connection::kMaxRequest, ' ')}) {
    RawClient client(dir.path("s"));
    std::size_t sent = 0;
    ASSERT_TRUE(until([&] {
      if (sent < text.size()) sent += client.write(std::string_view(text).substr(sent));
      client.read();
      return client.ended;
    }));
    EXPECT_EQ(client.got, "");
  }
  good.write("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"echo\"}\n");
  EXPECT_EQ(linesOf(good, 1).size(), 1u);
}

TEST_F(RpcTest, AReplyOfAnySizeIsWholeAndNoneWaitsBehindTooMuch) {
  RawClient client(dir.path("s"));
  client.write(
      "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"large\",\"params\":{\"size\":9000000}}\n");
  EXPECT_GT(linesOf(client, 1).at(0).size(), 9000000u);

  RawClient deaf(dir.path("s"));
  deaf.write(
      "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"large\",\"params\":{\"size\":9000000}}\n"
      "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"count\"}\n");
  ASSERT_TRUE(until([&] { return echo.ended == 1; }));
  EXPECT_EQ(echo.calls, 1);
  client.write("{\"jsonrpc\":\"2.0\",\"id\":3,\"method\":\"count\"}\n");
  EXPECT_EQ(linesOf(client, 2).at(1), R"({"jsonrpc":"2.0","id":3,"result":2})");
}

TEST_F(RpcTest, OneConnectionTooManyIsClosed) {
  std::vector<std::unique_ptr<RawClient>> clients;
  for (std::size_t i = 0; i < Server::kMaxConnections; ++i) {
    clients.push_back(std::make_unique<RawClient>(dir.path("s")));
  }
  ASSERT_TRUE(until([&] { return server->connections() == Server::kMaxConnections; }));
  RawClient late(dir.path("s"));
  ASSERT_TRUE(endsOf(late));
  EXPECT_EQ(server->connections(), Server::kMaxConnections);
  clients.pop_back();
  ASSERT_TRUE(until([&] { return server->connections() < Server::kMaxConnections; }));
  EXPECT_EQ(answers("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"echo\"}\n", 1).size(), 1u);
}

TEST_F(RpcTest, ASlowWatcherLosesCountedEventsAndStays) {
  RawClient client(dir.path("s"));
  client.write("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"watch\"}\n");
  linesOf(client, 1);
  client.shutDownWriting();
  const std::string event = notificationLine("event", {{"text", std::string(1000, 'e')}});
  std::size_t sent = 0;
  for (; sent < 8000; ++sent) echo.watcher->event(event);
  const std::uint64_t lost = echo.watcher->takeLost();
  EXPECT_GT(lost, 3000u);
  EXPECT_LT(lost, 5000u);
  EXPECT_FALSE(echo.watcher->hasRoom());
  EXPECT_EQ(linesOf(client, 1 + sent - lost).size(), 1 + sent - lost);
  ASSERT_TRUE(until([&] { return echo.watcher->hasRoom(); }));
  echo.watcher->event(event);
  EXPECT_EQ(linesOf(client, 2 + sent - lost).size(), 2 + sent - lost);
  // It went away altogether: the next connection finds that out.
  client.close();
  RawClient other(dir.path("s"));
  EXPECT_TRUE(until([&] { return echo.watcher == nullptr; }));
}

TEST_F(RpcTest, ASocketFileIsReplacedOnlyWhenNobodyAnswers) {
  EXPECT_THROW(Server(&loop, {dir.path("s"), 0600, {}, true}, echo), std::runtime_error);
  EXPECT_THROW(Server(&loop, {dir.file("plain", ""), 0600, {}, true}, echo), std::runtime_error);
  EXPECT_THROW(Server(&loop, {dir.path("a/b/s"), 0600, {}, true}, echo), std::runtime_error);
  struct stat status {};
  {
    const Server made(&loop, {dir.path("a/s"), 0666, {}, false}, echo);
    ASSERT_EQ(::stat(dir.path("a/s").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666u);
    ASSERT_EQ(::stat(dir.path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0755u);
    ASSERT_EQ(::link(dir.path("a/s").c_str(), dir.path("left").c_str()), 0);
  }
  ASSERT_TRUE(until([&] { return ::stat(dir.path("a/s").c_str(), &status) != 0; }));
  uv_run(&loop, UV_RUN_NOWAIT);
  EXPECT_NO_THROW(Server(&loop, {dir.path("left"), 0600, {}, true}, echo));
}

TEST_F(RpcTest, TheClientCallsAndWatches) {
  std::string error;
  std::vector<Json> seen;
  bool done = false;
  std::thread thread([&] {
    Client client(dir.path("s"));
    seen.push_back(client.call("echo", {{"a", 1}}));
    try {
      client.call("refuse");
    } catch (const Error& e) {
      error = e.reason();
    }
    client.call("watch");
    seen.push_back(client.next("event").value());
    done = true;
  });
  ASSERT_TRUE(until([&] { return echo.watcher != nullptr; }));
  echo.watcher->event(notificationLine("event", {{"n", 7}}));
  EXPECT_TRUE(until([&] { return echo.watcher == nullptr; }));
  thread.join();
  EXPECT_TRUE(done);
  EXPECT_EQ(error, "standby");
  EXPECT_THAT(seen, testing::ElementsAre(Json{{"a", 1}}, Json{{"n", 7}}));
  EXPECT_THROW(Client(dir.path("nobody")), std::system_error);
}

}  // namespace
}  // namespace DaemonTest
