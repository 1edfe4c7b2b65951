#include "cli/web/WebServer.h"

#include <arpa/inet.h>
#include <httplib.h>

#include <charconv>
#include <utility>

#include "cli/BadInput.h"
#include "cli/page/Page.h"
#include "cli/replay/Application.h"
#include "cli/web/Metrics.h"

namespace Cli {
namespace {

using httplib::Request;
using httplib::Response;
using Rpc::Json;

constexpr int kServing = 32;                         // threads beside those of pages that look on
constexpr int kSeconds = 5;                          // within which a client reads and writes
constexpr std::chrono::milliseconds kBreath{10000};  // between two signs of life to a page

// Nothing but what this server gives, no other page around it, and nothing is kept.
const httplib::Headers& headers() {
  static const httplib::Headers all{{"Content-Security-Policy",
                                     "default-src 'none'; script-src 'self'; style-src 'self'; "
                                     "connect-src 'self'; img-src 'self'; base-uri "
                                     "'none'; form-action 'none'; frame-ancestors 'none'"},
                                    {"X-Content-Type-Options", "nosniff"},
                                    {"X-Frame-Options", "DENY"},
                                    {"Referrer-Policy", "no-referrer"},
                                    {"Cross-Origin-Resource-Policy", "same-origin"},
                                    {"Cache-Control", "no-store"}};
  return all;
}

bool isAddress(const std::string& host) {
  in6_addr address{};
  return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ||
         ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

std::string livePage() {
  std::string page(pageHtml());
  const auto put = [&](std::string_view mark, std::string_view text) {
    page.replace(page.find(mark), mark.size(), text);
  };
  put("<!-- policy -->", "<meta name=\"live\" content=\"yes\">");
  put("<!-- style -->", "<link rel=\"stylesheet\" href=\"page.css\">");
  put("<!-- data -->", "");
  put("<!-- script -->", "<script src=\"page.js\"></script>");
  return page;
}

void answer(Response& response, int status, const std::string& text) {
  response.status = status;
  response.set_content(text + "\n", "text/plain");
}

// "::1" of "[::1]:8417", and what stands behind the name.
std::pair<std::string, std::string> nameAndPort(const std::string& host) {
  const std::size_t bracket = host.find(']');
  const bool isV6 = !host.empty() && host[0] == '[' && bracket != std::string::npos;
  const std::size_t end = isV6 ? bracket + 1 : std::min(host.find(':'), host.size());
  std::string name = isV6 ? host.substr(1, bracket - 1) : host.substr(0, end);
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return {name, host.substr(end)};
}

}  // namespace

ListenAddress listenAddress(const std::string& text) {
  const auto [host, port] = nameAndPort(text);
  ListenAddress address{host, 0};
  const char* const end = port.data() + port.size();
  if (!isAddress(host) || port.size() < 2 || port[0] != ':' ||
      std::from_chars(port.data() + 1, end, address.port).ptr != end || address.port < 0 ||
      address.port > 65535) {
    throw BadInput("--listen", "\"" + text + "\" is not an address and a port, 127.0.0.1:8417");
  }
  return address;
}

struct WebServer::Impl {
  Impl(AgentFeed& of, const ListenAddress& at, std::vector<std::string> all)
      : feed(of), address(at), names(std::move(all)) {}

  // A page of somebody else's that has its name point here cannot read this: the name in its
  // requests is not ours.
  bool isOurs(const std::string& host) const {
    const auto [name, behind] = nameAndPort(host);
    if (!behind.empty() && behind != ":" + std::to_string(port)) return false;
    if (std::ranges::find(names, name) != names.end() || name == address.host) return true;
    const bool isLoopback = address.host.starts_with("127.") || address.host == "::1";
    if (isLoopback) return name == "localhost" || name == "127.0.0.1" || name == "::1";
    const bool isAny = address.host == "0.0.0.0" || address.host == "::";
    return isAny && (isAddress(name) || name == "localhost");
  }

  httplib::Server::HandlerResponse admit(const Request& request, Response& response) const {
    for (const auto& [name, value] : headers()) response.set_header(name.c_str(), value);
    if (request.get_header_value_count("Host") != 1 || !isOurs(request.get_header_value("Host"))) {
      answer(response, 403, "This server is not known by that name.");
      return httplib::Server::HandlerResponse::Handled;
    }
    if (request.method != "GET" && request.method != "HEAD") {
      response.set_header("Allow", "GET, HEAD");
      answer(response, 405, "Everything can be read here, nothing changed.");
      return httplib::Server::HandlerResponse::Handled;
    }
    return httplib::Server::HandlerResponse::Unhandled;
  }

  // What the agent says of it, in JSON; what it refuses as it is.
  void agentAnswers(Response& response, const std::function<std::string()>& ask) const {
    try {
      response.set_content(ask(), "application/json");
    } catch (const Rpc::Error& error) {
      response.status = error.code() == Rpc::Code::kMethodNotFound ? 501 : 400;
      response.set_content(Rpc::textOf({{"error", error.what()}}), "application/json");
    } catch (const std::exception& error) {
      response.status = 503;
      response.set_content(Rpc::textOf({{"error", error.what()}}), "application/json");
    }
  }

  void why(const Request& request, Response& response) {
    Json params = Json::object();
    for (const char* name : {"port", "stream"}) {
      if (request.has_param(name)) params[name] = request.get_param_value(name);
    }
    for (const char* name : {"vlan", "class"}) {
      if (!request.has_param(name)) continue;
      const std::string text = request.get_param_value(name);
      int number = 0;
      std::from_chars(text.data(), text.data() + text.size(), number);
      params[name] = number;
    }
    agentAnswers(response, [&] { return Rpc::textOf(feed.call("why", params)); });
  }

  void metrics(Response& response) {
    Json tables;
    try {
      tables = feed.tables();
    } catch (const std::exception&) {
      // That there is no agent is a metric.
    }
    response.set_content(metricsText(tables, feed.viewers()), kOpenMetrics);
  }

  // One page that looks on. It has what it reads in hand and no queue of its own.
  void events(const Request& request, Response& response) {
    if (feed.viewers() >= kMostViewers) return answer(response, 503, "Too many pages look on.");
    struct State {
      explicit State(AgentFeed& of) : viewer(of) {}
      AgentFeed::Viewer viewer;
      Broadcast::Number seen = 0;
    };
    auto state = std::make_shared<State>(feed);
    const std::string after = request.get_param_value("after");
    state->seen = feed.broadcast().last();
    std::from_chars(after.data(), after.data() + after.size(), state->seen);
    response.set_chunked_content_provider(
        "text/event-stream", [this, state](std::size_t, httplib::DataSink& sink) {
          static const std::string kAlive = ": alive\n\n";
          static const std::string kAnew = "event: anew\ndata: {}\n\n";
          Broadcast::Message message;
          switch (feed.broadcast().next(state->seen, message, kBreath)) {
            case Broadcast::Got::message:
              return sink.write(message->data(), message->size());
            case Broadcast::Got::nothing:
              return sink.write(kAlive.data(), kAlive.size());
            case Broadcast::Got::tooLate:
              return sink.write(kAnew.data(), kAnew.size());
            case Broadcast::Got::ended:
              break;
          }
          sink.done();
          return true;
        });
  }

  void routes() {
    server.set_pre_routing_handler(
        [this](const Request& request, Response& response) { return admit(request, response); });
    const auto text = [this](const char* path, std::string content, const char* type) {
      server.Get(path, [content = std::move(content), type](const Request&, Response& response) {
        response.set_content(content, type);
      });
    };
    text("/", livePage(), "text/html; charset=utf-8");
    text("/page.js", std::string(pageScript()), "text/javascript; charset=utf-8");
    text("/page.css", std::string(pageStyle()), "text/css; charset=utf-8");
    server.Get("/favicon.ico", [](const Request&, Response& response) { response.status = 204; });
    server.Get("/picture.json", [this](const Request& request, Response& response) {
      const auto application = applicationNamed(request.get_param_value("application"));
      if (!application) return answer(response, 400, "application is mvrp or msrp");
      agentAnswers(response, [&] { return feed.picture(*application); });
    });
    server.Get("/tables.json", [this](const Request&, Response& response) {
      agentAnswers(response, [&] { return Rpc::textOf(feed.tables()); });
    });
    server.Get("/why",
               [this](const Request& request, Response& response) { why(request, response); });
    server.Get("/metrics", [this](const Request&, Response& response) { metrics(response); });
    server.Get("/events",
               [this](const Request& request, Response& response) { events(request, response); });
  }

  AgentFeed& feed;
  ListenAddress address;
  std::vector<std::string> names;
  int port = 0;
  httplib::Server server;
};

WebServer::WebServer(AgentFeed& feed, const ListenAddress& address, std::vector<std::string> names)
    : impl_(std::make_unique<Impl>(feed, address, std::move(names))) {
  httplib::Server& server = impl_->server;
  server.new_task_queue = [] { return new httplib::ThreadPool(kMostViewers + kServing); };
  server.set_payload_max_length(0);
  server.set_read_timeout(kSeconds);
  server.set_write_timeout(kSeconds);
  server.set_keep_alive_timeout(kSeconds);
  impl_->routes();
  const bool bound = address.port == 0
                         ? (impl_->port = server.bind_to_any_port(address.host)) > 0
                         : server.bind_to_port(address.host, impl_->port = address.port);
  if (!bound) {
    throw BadInput("--listen",
                   address.host + ":" + std::to_string(address.port) + " cannot be listened on");
  }
}

WebServer::~WebServer() = default;

int WebServer::port() const { return impl_->port; }
void WebServer::run() { impl_->server.listen_after_bind(); }
void WebServer::stop() { impl_->server.stop(); }

}  // namespace Cli
