#include "cli/Command.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "agent/daemon/config/Config.h"
#include "cli/BadInput.h"
#include "cli/ReplayCommand.h"
#include "cli/agent/AgentCommands.h"
#include "cli/manual/Completion.h"
#include "cli/manual/Pages.h"
#include "cli/replay/JsonMembers.h"
#include "cli/web/WebCommand.h"
#include "cli/why/WhyCommand.h"

namespace Cli {
namespace {

constexpr const char* kVersion = "mrp 0.1.0";
constexpr int kFailed = 1;
constexpr int kBadInput = 2;
constexpr int kMaxTraceLevel = 9;

constexpr const char* kExamples = R"(Examples:
  mrp replay talker.pcap
      one capture, received on port1
  mrp replay port1=left.pcap port2=right.pcapng --json
      two captures that overlap in time, one JSON object a line
  mrp replay story.jsonl --application msrp --write sent.pcap
      a scenario; the frames that the engine sends go to a capture
  mrp replay port1=talker.pcap port2=listener.pcap --bridge
      the ports of one bridge: what it declares, and reserves for streams
  mrp replay port1=more.pcap --standby --status before.json --until 30
      an engine in standby that is given the attributes of another run)";

const CLI::Validator& timeOption() {
  static const CLI::Validator validator(
      [](std::string& text) -> std::string {
        double seconds = 0;
        if (CLI::detail::lexical_cast(text, seconds) && isTime(seconds)) return {};
        return "\"" + text + "\" is not a number of seconds from 0 on";
      },
      "SECONDS");
  return validator;
}

void describe(CLI::App& app, ReplayCommand& command, std::string& application) {
  app.add_option("INPUT", command.files.inputs,
                 "Capture (pcap or pcapng, Ethernet), PORT=CAPTURE to name its port (port1 "
                 "otherwise), scenario (*.jsonl), or a folder that mrp dump wrote")
      ->required();
  app.add_option("--application", application,
                 "Protocol to run; otherwise that of the first MSRP or MVRP frame")
      ->check(CLI::IsMember({"msrp", "mvrp"}));
  app.add_option("--leave-time", command.leaveTime, "LeaveTime in seconds")
      ->check(timeOption())
      ->capture_default_str();
  app.add_option("--leave-all-time", command.leaveAllTime, "LeaveAllTime in seconds")
      ->check(timeOption())
      ->capture_default_str();
  app.add_option("--until", command.until,
                 "End of the run; otherwise one second after the last input")
      ->check(timeOption());
  app.add_flag("--bridge", command.files.bridge,
               "Run the application's bridge over all ports instead of a plain engine");
  app.add_flag("--standby", command.standby, "Start the engine in standby");
  app.add_option("--status", command.files.status, "Attributes that the engine starts with")
      ->type_name("FILE");
  app.add_option("--save-status", command.saveStatus, "Write the attributes of the end to a file")
      ->type_name("FILE");
  app.add_option("--write", command.write, "Write the frames that the engine sent to a capture")
      ->type_name("FILE");
  app.add_option("--html", command.html, "Write a page that shows the run, for any browser")
      ->type_name("FILE");
  app.add_option("--trace", command.trace,
                 "Trace lines up to this level to standard error: 4 failures, 7 notable events, 8 "
                 "routine steps")
      ->check(CLI::Range(0, kMaxTraceLevel))
      ->type_name("LEVEL");
  app.add_flag("--json", command.json, "One JSON object a line instead of text");
  app.footer(kExamples);
}

const CLI::App* describe(CLI::App& app, WebCommand& command) {
  CLI::App* web = app.add_subcommand("web", "Show an agent at work in a browser, and its metrics");
  command.socket = Daemon::Config().querySocket;
  web->add_option("--listen", command.listen, "Address and port")
      ->type_name("ADDRESS:PORT")
      ->capture_default_str();
  web->add_option("--name", command.names, "A name by which browsers know this server")
      ->type_name("HOST");
  web->add_option("--socket", command.socket, "Query socket of the agent")
      ->type_name("PATH")
      ->capture_default_str();
  return web;
}

// File names and the library's messages may hold line ends.
std::string oneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = ' ';
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

int runParsed(std::span<const char* const> arguments, std::ostream& out, std::ostream& err) {
  CLI::App app("The Multiple Registration Protocol (IEEE 802.1Q), MSRP and MVRP, at work", "mrp");
  app.set_version_flag("--version", kVersion);
  app.require_subcommand(1);
  ReplayCommand command;
  std::string application;
  CLI::App* replayApp = app.add_subcommand(
      "replay",
      "Drive one engine at virtual time with captures and scenarios, and show what it did");
  describe(*replayApp, command, application);
  AgentCommands agentCommands(app, arguments);
  WebCommand web;
  const CLI::App* webApp = describe(app, web);
  WhyCommand why(app);
  // What is made of the commands above; not for everyday use, so --help does not show them.
  std::string page;
  std::string shell;
  CLI::App* manual = app.add_subcommand("manual", "Print a manual page")->group("");
  manual->add_option("PAGE", page)
      ->required()
      ->check(CLI::IsMember({"mrp", "mrp-agent", "mrp.toml"}));
  CLI::App* completion = app.add_subcommand("completion", "Print a completion script")->group("");
  completion->add_option("SHELL", shell)->required()->check(CLI::IsMember({"bash", "zsh"}));
  try {
    app.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::Success& asked) {  // --help, --version
    app.exit(asked, out, err);
    return 0;
  }
  if (const auto status = agentCommands.run(out, err)) return *status;
  if (webApp->parsed()) {
    serveWeb(web, out);
    return 0;
  }
  if (const auto status = why.run(out, err)) return *status;
  if (manual->parsed() || completion->parsed()) {
    out << (manual->parsed() ? manualPage(app, page) : completionScript(app, shell)) << std::flush;
    return out ? 0 : kFailed;
  }
  command.files.application = applicationNamed(application);
  replay(command, out, err);
  return 0;
}

}  // namespace

int run(std::span<const char* const> arguments, std::ostream& out, std::ostream& err) {
  try {
    return runParsed(arguments, out, err);
  } catch (const std::exception& error) {
    err << "mrp: " << oneLine(error.what()) << std::endl;
    return kBadInput;
  }
}

}  // namespace Cli
