#include "cli/agent/AgentCommands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <deque>
#include <iostream>

#include "agent/daemon/Version.h"
#include "agent/daemon/config/Check.h"
#include "agent/daemon/config/VlanRanges.h"
#include "cli/agent/AgentOptions.h"
#include "cli/agent/AgentProgram.h"
#include "cli/agent/Remote.h"
#include "cli/agent/Shown.h"
#include "cli/dump/DumpCommand.h"

namespace Cli {
namespace {

using Rpc::Json;

const std::string kControlSocket = Daemon::Config().socket;
const std::string kQuerySocket = Daemon::Config().querySocket;

// What the options of one command have in common.
struct Options {
  std::string socket;
  std::string port;
  std::string application;
  bool json = false;
  // Of single commands.
  std::string what;
  std::string value;
  std::string vlans;
  Json stream = Json::object();
  std::string id;
  std::string dmac;
  std::string event = "ready";
  unsigned vlan = 0;
  unsigned size = 0;
  unsigned frames = 0;
  unsigned priority = 3;
  unsigned rank = 1;
  std::uint32_t latency = 0;
  int level = 0;
};

struct Output {
  std::ostream& out;
  std::ostream& err;
  Style style() const {
    const char* term = std::getenv("TERM");
    const bool dumb = !term || std::string_view(term) == "dumb" || std::getenv("NO_COLOR");
    return {&out == &std::cout && ::isatty(STDOUT_FILENO) == 1 && !dumb};
  }
};

using Handler = std::function<int(const Options& options, const Output& output)>;

std::string jsonText(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Parameters that are left out where the option was.
Json where(const Options& o) {
  Json params = Json::object();
  if (!o.port.empty()) params["port"] = o.port;
  if (!o.application.empty()) params["application"] = o.application;
  return params;
}

// The applications that are meant: the one that is named, or all that are on.
std::vector<std::string> applications(Remote& agent, const Options& o) {
  if (!o.application.empty()) return {o.application};
  return agent.call("status")["applications"].get<std::vector<std::string>>();
}

Json vlanList(const std::string& text) {
  const auto vlans = Daemon::vlansFromList(text);
  if (!vlans) throw CommandEnd(ExitStatus::kUsage, "VLANs are 1 to 4094: 7,20-29");
  Json list = Json::array();
  for (const std::string& range : Daemon::rangesOf(*vlans)) list.push_back(range);
  return list;
}

// --- The commands --------------------------------------------------------------------------------

int show(const ShowMethod& method, const Options& o, const Output& output) {
  Remote agent(o.socket);
  Json params = where(o);
  if (o.vlan != 0) params["vlan"] = o.vlan;
  if (o.json) {
    output.out << agent.callText(method.name, params) << '\n';
  } else {
    method.shown(output.out, output.style(), agent.call(method.name, params));
  }
  return ExitStatus::kDone;
}

int watch(const Options& o, const Output& output) {
  Remote agent(o.socket);
  agent.call("watch", where(o));
  while (const auto event = agent.next("event")) {
    output.out << (o.json ? jsonText(*event) : eventText(*event)) << std::endl;
    if (!output.out) return ExitStatus::kDone;  // nobody reads any more
  }
  throw CommandEnd(ExitStatus::kRefused, "the agent has ended");
}

int trace(const Options& o, const Output& output) {
  Remote agent(o.socket);
  for (const std::string& name : applications(agent, o)) {
    agent.call("trace", {{"application", name}, {"level", o.level}});
  }
  while (const auto line = agent.next("trace")) {
    output.out << line->value("application", "") << ' ' << line->value("level", 0) << ' '
               << line->value("text", "") << std::endl;
    if (!output.out) return ExitStatus::kDone;
  }
  throw CommandEnd(ExitStatus::kRefused, "the agent has ended");
}

// A method without a result.
int plain(const char* method, const Json& params, const Options& o, const Output& output) {
  const Json result = Remote(o.socket).call(method, params);
  if (o.json) output.out << jsonText(result) << '\n';
  return ExitStatus::kDone;
}

int vlansOn(const char* method, const Options& o, const Output& output) {
  Json params = where(o);
  params["vlans"] = vlanList(o.vlans);
  return plain(method, params, o, output);
}

int streamOn(const char* method, const Options& o, const Output& output) {
  Json params = where(o);
  params["stream"] = {{"streamId", o.id}};
  if (std::string_view(method) == "declare") {
    params["stream"].update({{"dmac", o.dmac},
                             {"vlanId", o.vlan},
                             {"maxFrameSize", o.size},
                             {"maxIntervalFrames", o.frames},
                             {"priority", o.priority},
                             {"rank", o.rank},
                             {"accumulatedLatency", o.latency}});
  }
  return plain(method, params, o, output);
}

int listenerOn(const char* method, const Options& o, const Output& output) {
  Json params = where(o);
  params["listener"] = {{"streamId", o.id}};
  if (std::string_view(method) == "declare") params["listener"]["event"] = o.event;
  return plain(method, params, o, output);
}

int registration(const Options& o, const Output& output) {
  Json params = where(o);
  params["mode"] = o.what;
  if (!o.vlans.empty()) params["vlans"] = vlanList(o.vlans);
  return plain("registration", params, o, output);
}

void attributeLine(std::ostream& out, const std::string& application, const std::string& name,
                   const Json& value, const char* remark) {
  constexpr std::size_t kIndent = 5;
  printWrapped(out, application + " ", kIndent, name + " = " + jsonText(value) + remark);
}

// Of several applications the value of each that has such an attribute.
int get(const Options& o, const Output& output) {
  Remote agent(o.socket);
  std::optional<CommandEnd> refused;
  bool any = false;
  for (const std::string& name : applications(agent, o)) {
    Json params{{"application", name}};
    if (!o.what.empty()) params["name"] = o.what;
    try {
      const Json result = agent.call("get", params);
      any = true;
      if (o.json) {
        output.out << jsonText(result) << '\n';
      } else if (!o.what.empty()) {
        attributeLine(output.out, name, o.what, result["value"], "");
      } else {
        for (const Json& row : result) {
          attributeLine(output.out, name, row["name"], row["value"],
                        row["settable"].get<bool>() ? "" : " (read only)");
        }
      }
    } catch (const CommandEnd& end) {
      refused = end;
    }
  }
  if (!any && refused) throw *refused;
  return ExitStatus::kDone;
}

int set(const Options& o, const Output& output) {
  Remote agent(o.socket);
  Json value = Json::parse(o.value, nullptr, false);
  if (value.is_discarded()) value = o.value;
  for (const std::string& name : applications(agent, o)) {
    const Json result =
        agent.call("set", {{"application", name}, {"name", o.what}, {"value", value}});
    if (o.json) output.out << jsonText(result) << '\n';
  }
  return ExitStatus::kDone;
}

}  // namespace

struct AgentCommands::Impl {
  // A command with its options, which stay where they are.
  struct Command {
    CLI::App* app;
    Options options;
    Handler handler;
  };

  Command& command(CLI::App& parent, const char* name, const char* help, Handler handler,
                   const std::string& socket = kControlSocket) {
    Command& made = commands.emplace_back(
        Command{parent.add_subcommand(name, help), Options(), std::move(handler)});
    made.options.socket = socket;
    if (!socket.empty()) {
      made.app->add_option("--socket", made.options.socket, "Socket of the agent")
          ->type_name("PATH")
          ->capture_default_str();
      made.app->add_flag("--json", made.options.json, "The agent's answer as it is");
    }
    return made;
  }
  static void port(Command& c, bool needed = false) {
    CLI::Option* option =
        c.app->add_option("--port", c.options.port, "Only this port")->type_name("PORT");
    if (needed) option->required();
  }
  static void application(Command& c) {
    c.app->add_option("--application", c.options.application, "Only this application")
        ->check(CLI::IsMember({"mvrp", "msrp"}));
  }
  static void streamId(Command& c) {
    c.app->add_option("--id", c.options.id, "Stream identifier, 16 hexadecimal digits")
        ->required()
        ->type_name("ID");
  }

  void declareOrWithdraw(CLI::App& app, const char* method, const char* help) {
    CLI::App* group = app.add_subcommand(method, help);
    group->require_subcommand(1);
    const bool declare = std::string_view(method) == "declare";
    Command& vlan = command(*group, "vlan", "VLANs", [method](const auto& o, const auto& out) {
      return vlansOn(method, o, out);
    });
    vlan.app->add_option("VLANS", vlan.options.vlans, "For example 7,100-110")->required();
    port(vlan);

    Command& stream =
        command(*group, "stream", "A talker's stream",
                [method](const auto& o, const auto& out) { return streamOn(method, o, out); });
    streamId(stream);
    port(stream);
    Command& listener =
        command(*group, "listener", "Listening to a stream",
                [method](const auto& o, const auto& out) { return listenerOn(method, o, out); });
    streamId(listener);
    port(listener);
    if (!declare) return;
    Options& s = stream.options;
    stream.app->add_option("--dmac", s.dmac, "Destination address")->required();
    stream.app->add_option("--vlan", s.vlan, "VLAN of the stream")->required();
    stream.app->add_option("--max-frame-size", s.size, "Octets of the largest frame")->required();
    stream.app->add_option("--interval-frames", s.frames, "Frames in a measurement interval")
        ->required();
    stream.app->add_option("--priority", s.priority, "Priority code point")->capture_default_str();
    stream.app->add_option("--rank", s.rank, "0: emergency")->capture_default_str();
    stream.app->add_option("--latency", s.latency, "Latency up to here")->type_name("ns");
    listener.app->add_option("--event", listener.options.event, "What is declared")
        ->check(CLI::IsMember({"ready", "ready-failed", "asking-failed"}))
        ->capture_default_str();
  }

  void describeShow(CLI::App& app) {
    CLI::App* group = app.add_subcommand("show", "Show what an agent knows");
    group->require_subcommand(1);
    std::size_t count = 0;
    const ShowMethod* methods = showMethods(count);
    for (std::size_t i = 0; i < count; ++i) {
      const ShowMethod& method = methods[i];
      Command& c = command(
          *group, method.name, method.help,
          [&method](const auto& o, const auto& out) { return show(method, o, out); }, kQuerySocket);
      if (std::string_view(method.name) != "status") port(c);
      if (std::string_view(method.name) == "attributes") application(c);
      if (std::string_view(method.name) == "vlans") {
        c.app->add_option("--vlan", c.options.vlan, "Only this VLAN")->check(CLI::Range(1, 4094));
      }
    }
  }

  Impl(CLI::App& app, std::span<const char* const> commandLine) : arguments(commandLine) {
    agentOptions.describe(*command(app, "agent", "Run MVRP and MSRP on ports of this host",
                                   [this](const auto&, const auto&) { return runAgent(); }, {})
                               .app);
    describeShow(app);
    Command& w =
        command(app, "watch", "Show what happens, until it is interrupted", watch, kQuerySocket);
    port(w);
    declareOrWithdraw(app, "declare", "Declare something on one port or on all");
    declareOrWithdraw(app, "withdraw", "Withdraw what was declared");
    Command& r = command(app, "registration", "What a port registers", registration);
    r.app->add_option("MODE", r.options.what, "normal, fixed or forbidden")
        ->required()
        ->check(CLI::IsMember({"normal", "fixed", "forbidden"}));
    r.app->add_option("VLANS", r.options.vlans, "For example 7,100-110; otherwise all");
    port(r, true);
    Command& l = command(app, "leave-all", "Send LeaveAlls", [](const auto& o, const auto& out) {
      return plain("leave-all", where(o), o, out);
    });
    application(l);
    port(l);
    Command& g = command(app, "get", "Attributes of the engines by name", get, kQuerySocket);
    g.app->add_option("NAME", g.options.what, "For example mrpConfig.leaveTime; otherwise all");
    application(g);
    Command& s = command(app, "set", "Set an attribute of the engines", set);
    s.app->add_option("NAME", s.options.what)->required();
    s.app->add_option("VALUE", s.options.value)->required();
    application(s);
    for (const char* method : {"activate", "reload"}) {
      const bool activate = std::string_view(method) == "activate";
      command(app, method, activate ? "End standby" : "Read the configuration anew",
              [method](const auto& o, const auto& out) {
                return plain(method, Json::object(), o, out);
              });
    }
    Command& t = command(app, "trace", "Trace the engines, until it is interrupted", trace);
    t.app->add_option("LEVEL", t.options.level, "4 failures, 7 notable events, 8 routine steps")
        ->required()
        ->check(CLI::Range(0, 9));
    application(t);
    Command& d = command(
        app, "dump", "Write what the agent has recorded into a folder, to look at it elsewhere",
        [](const auto& o, const auto& output) {
          dump(o.socket, o.what, output.out);
          return ExitStatus::kDone;
        },
        kQuerySocket);
    d.app->add_option("FOLDER", d.options.what, "Is made; must be empty")->required();
    command(app, "version", "Version of this program", [](const auto& o, const auto& output) {
      if (o.json) {
        output.out << jsonText({{"version", Daemon::kVersion}}) << '\n';
      } else {
        output.out << "mrp " << Daemon::kVersion << '\n';
      }
      return ExitStatus::kDone;
    });
  }

  int runAgent() {
    const std::string file = Daemon::fileMeant(agentOptions.file);
    const auto given = agentOptions.given();
    if (agentOptions.check) return Daemon::checkConfiguration(file, given);
    throw CommandEnd(Daemon::Exit::kFailed, becomeAgent(arguments));
  }

  std::span<const char* const> arguments;
  std::deque<Command> commands;
  AgentOptions agentOptions;
};

AgentCommands::AgentCommands(CLI::App& app, std::span<const char* const> arguments)
    : impl_(std::make_unique<Impl>(app, arguments)) {}
AgentCommands::~AgentCommands() = default;

std::optional<int> AgentCommands::run(std::ostream& out, std::ostream& err) {
  for (const Impl::Command& command : impl_->commands) {
    if (!command.app->parsed()) continue;
    try {
      return command.handler(command.options, {out, err});
    } catch (const CommandEnd& end) {
      out.flush();
      err << "mrp: " << end.what() << std::endl;
      return end.status();
    }
  }
  return std::nullopt;
}

}  // namespace Cli
