#include "cli/why/WhyCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>

#include "agent/daemon/config/Config.h"
#include "cli/BadInput.h"
#include "cli/agent/AgentCommands.h"
#include "cli/agent/Remote.h"
#include "cli/replay/JsonMembers.h"
#include "cli/why/WhyReplay.h"
#include "cli/why/WhyText.h"

namespace Cli {
namespace {

using Rpc::Json;

constexpr const char* kExamples = R"(Examples:
  mrp why vlan 100 --port eth1
      the agent on this host: is it registered there, since when, by whom
  mrp why stream 00:1b:21:aa:99:87:0002 --port eth2
      why it fails there, step by step, and what helps
  mrp why vlan 30 --port port1 --replay trace.pcap --at 12.5
      the same of a capture, at a moment of it)";

struct Asked {
  std::string what;
  std::string port;
  std::string socket = Daemon::Config().querySocket;
  WhyInputs inputs;
  bool json = false;
};

Style styleOf(const std::ostream& out) {
  const char* term = std::getenv("TERM");
  const bool dumb = !term || std::string_view(term) == "dumb" || std::getenv("NO_COLOR");
  return {&out == &std::cout && ::isatty(STDOUT_FILENO) == 1 && !dumb};
}

std::string hexText(std::uint64_t number) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text(16, '0');
  for (std::size_t i = text.size(); i-- > 0; number >>= 4) text[i] = kDigits[number & 15];
  return text;
}

Json paramsOf(const Question& question) {
  Json params = Json::object();
  if (question.vlan) params["vlan"] = *question.vlan;
  if (question.stream) params["stream"] = hexText(*question.stream);
  if (question.srClass) params["class"] = *question.srClass;
  if (!question.port.empty()) params["port"] = question.port;
  return params;
}

}  // namespace

struct WhyCommand::Impl {
  explicit Impl(CLI::App& parent)
      : app(parent.add_subcommand("why", "Say why something is as it is, and who did it")) {
    app->require_subcommand(1);
    app->footer(kExamples);
    vlan = kind("vlan", "A VLAN on one port, or on all of which something is known", "VLAN");
    stream = kind("stream", "A stream: its talker, and what each port makes of it", "ID");
    domain = kind("domain", "Whether a port is inside the domain of an SR class", "CLASS");
  }

  CLI::App* kind(const char* name, const char* help, const char* value) {
    CLI::App* made = app->add_subcommand(name, help);
    made->add_option(value, asked.what)->required();
    CLI::Option* port = made->add_option("--port", asked.port, "Only this port");
    port->type_name("PORT");
    if (std::string_view(name) == "domain") port->required();
    CLI::Option* replay =
        made->add_option("--replay", asked.inputs.inputs,
                         "Ask a replay of these captures and scenarios, or of a folder that mrp "
                         "dump wrote, instead of an agent");
    replay->type_name("FILE")->expected(-1);
    made->add_option("--at", asked.inputs.at, "When it is asked; otherwise at the end")
        ->type_name("SECONDS")
        ->check([](const std::string& text) {
          double seconds = 0;
          const bool good = CLI::detail::lexical_cast(text, seconds) && isTime(seconds);
          return good ? std::string() : "\"" + text + "\" is not a number of seconds from 0 on";
        })
        ->needs(replay);
    made->add_flag("--bridge", asked.inputs.bridge, "The ports are those of one bridge")
        ->needs(replay);
    made->add_option("--socket", asked.socket, "Socket of the agent")
        ->type_name("PATH")
        ->capture_default_str()
        ->excludes(replay);
    made->add_flag("--json", asked.json, "One JSON object instead of text");
    return made;
  }

  Question question() const {
    Question q;
    q.port = asked.port;
    if (vlan->parsed()) {
      const auto number = wholeNumber(asked.what, 10);
      if (!number || *number > 4095) throw BadInput(asked.what, "a VLAN is a number of 0 to 4095");
      q.vlan = static_cast<std::uint16_t>(*number);
    } else if (stream->parsed()) {
      q.stream = streamFrom(asked.what);
      if (!q.stream) throw BadInput(asked.what, "a stream has 16 hexadecimal digits");
    } else {
      q.srClass = srClassFrom(asked.what);
      if (!q.srClass) throw BadInput(asked.what, "a class is A, B or a number of 0 to 255");
    }
    return q;
  }

  CLI::App* app;
  CLI::App* vlan;
  CLI::App* stream;
  CLI::App* domain;
  Asked asked;
};

WhyCommand::WhyCommand(CLI::App& app) : impl_(std::make_unique<Impl>(app)) {}
WhyCommand::~WhyCommand() = default;

std::optional<int> WhyCommand::run(std::ostream& out, std::ostream& err) {
  if (!impl_->app->parsed()) return std::nullopt;
  const Asked& asked = impl_->asked;
  const Question question = impl_->question();
  try {
    const Json result = asked.inputs.inputs.empty()
                            ? Remote(asked.socket).call("why", paramsOf(question))
                            : whyFromInputs(question, asked.inputs);
    if (asked.json) {
      out << result.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    } else {
      printAnswers(out, styleOf(out), result);
    }
    if (!out.flush()) throw BadInput("standard output", "could not be written");
    return ExitStatus::kDone;
  } catch (const CommandEnd& end) {
    err << "mrp: " << end.what() << std::endl;
    return end.status();
  }
}

}  // namespace Cli
