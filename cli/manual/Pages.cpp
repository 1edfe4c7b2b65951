#include "cli/manual/Pages.h"

#include "agent/daemon/Version.h"
#include "agent/daemon/config/Keys.h"
#include "cli/manual/Commands.h"
#include "cli/manual/Roff.h"

namespace Cli {
namespace {

std::string sentence(std::string text) {
  if (!text.empty() && text.back() != '.') text += '.';
  return text;
}

std::string optionTerm(const CLI::Option& option) {
  std::string term;
  for (const std::string& name : option.get_snames()) term += (term.empty() ? "-" : ", -") + name;
  for (const std::string& name : option.get_lnames()) term += (term.empty() ? "--" : ", --") + name;
  const std::string value = valueName(option);
  return value.empty() ? term : term + " " + value;
}

std::string optionText(const CLI::Option& option) {
  std::string text = sentence(option.get_description());
  if (!option.get_default_str().empty()) text += " Default: " + option.get_default_str() + ".";
  return text;
}

std::string synopsis(const CLI::App& app, const std::string& path) {
  std::string text = path;
  for (const CLI::Option* argument : argumentsOf(app)) {
    const std::string name = argument->get_name(true);
    const auto choices = choicesOf(*argument);
    const std::string shown = choices.empty() ? name : valueName(*argument);
    text += " " + (argument->get_required() ? shown : "[" + shown + "]");
  }
  return text;
}

void options(Roff& page, const CLI::App& app) {
  for (const CLI::Option* option : optionsOf(app)) {
    if (option->check_lname("help")) continue;
    page.item(optionTerm(*option), optionText(*option));
  }
}

// Commands that do something, with their words in front.
void commands(Roff& page, const CLI::App& app, const std::string& path) {
  for (const CLI::App* command : commandsOf(app)) {
    const std::string below = path + " " + command->get_name();
    if (!commandsOf(*command).empty()) {
      commands(page, *command, below);
      continue;
    }
    page.subheading(synopsis(*command, below));
    page.text(sentence(command->get_description()));
    if (below == "mrp agent") {
      page.text("mrp-agent(8) describes its options.");
      continue;
    }
    for (const CLI::Option* argument : argumentsOf(*command)) {
      if (!argument->get_description().empty()) {
        page.item(argument->get_name(true), optionText(*argument));
      }
    }
    options(page, *command);
    if (!command->get_footer().empty()) page.literal(command->get_footer());
  }
}

std::string commandsPage(const CLI::App& app) {
  Roff page("mrp", 1, Daemon::kVersion);
  page.heading("NAME");
  page.text("mrp - MVRP and MSRP (IEEE 802.1Q): replay captures, run an agent, and ask it");
  page.heading("SYNOPSIS");
  page.text("mrp COMMAND [OPTION]...");
  page.heading("DESCRIPTION");
  page.text(
      "mrp replay feeds captures to an engine of the Multiple Registration Protocol at virtual\n"
      "time and shows what it does. mrp agent runs the protocol on this host's ports. The other\n"
      "commands ask a running agent, or ask something of it.\n"
      "\n"
      "Tables for people fit 100 columns, with colour on a terminal only. With --json a command\n"
      "prints the agent's answer as it is; watch prints one event a line.");
  page.heading("COMMANDS");
  commands(page, app, "mrp");
  page.heading("EXIT STATUS");
  page.item("0", "Done.");
  page.item("1", "The agent refused, and said why; or the socket's permissions did.");
  page.item("2", "Wrong usage or input.");
  page.item("3", "No agent answers at the socket, which is named.");
  page.heading("FILES");
  const Daemon::Config defaults;
  page.item(defaults.socket, "Control socket: what changes something.");
  page.item(defaults.querySocket, "Query socket: show, watch and get, for everybody.");
  page.heading("SEE ALSO");
  page.text("mrp-agent(8), mrp.toml(5), bridge(8), tshark(1)");
  return page.page();
}

std::string agentPage(const CLI::App& app) {
  const CLI::App& agent = *app.get_subcommand("agent");
  Roff page("mrp-agent", 8, Daemon::kVersion);
  page.heading("NAME");
  page.text("mrp-agent - run MVRP and MSRP on the ports of this host");
  page.heading("SYNOPSIS");
  page.text("mrp agent [--config FILE] [OPTION]...");
  page.heading("DESCRIPTION");
  page.text(
      "The agent makes this host a bridge or a station of the protocol. In bridge mode what is\n"
      "registered on one port of a Linux bridge is declared on its others and put into the\n"
      "kernel as VLAN entries; in station mode every port stands alone, and declares what it is\n"
      "asked for.\n"
      "\n"
      "It reads the configuration that mrp.toml(5) describes. Every key of the tables agent,\n"
      "mvrp and msrp is an option as well, and an option wins. Lists are separated by commas, or\n"
      "the option is repeated.");
  page.heading("OPTIONS");
  options(page, agent);
  page.heading("KERNEL");
  page.text(
      "It keeps CAP_NET_ADMIN and CAP_NET_RAW and drops every other capability.\n"
      "\n"
      "Frames of the protocol are kept from being relayed between ports of the bridge by a chain\n"
      "in the nftables table \"bridge mrp\" that bears the bridge's name. VLAN entries that it "
      "has\n"
      "not made are never touched; without a state it cannot know its own again after it was\n"
      "killed. Somebody who changes the flags of an entry (PVID, untagged) makes it theirs.");
  page.heading("SIGNALS");
  page.item("SIGHUP",
            "Reads the configuration again, as mrp reload does; a wrong one changes "
            "nothing and is told of.");
  page.item("SIGTERM, SIGINT", "Ends as on-stop says. A second one ends it at once.");
  page.heading("EXIT STATUS");
  page.item("0", "It was asked to end.");
  page.item("1", "It could not go on, and said why.");
  page.item("2", "Wrong configuration or usage.");
  page.heading("NOTES");
  page.text(
      "Log lines go to standard error; where the journal reads them they have priority prefixes\n"
      "instead of their level. A service manager is told READY=1, and hears WATCHDOG=1 when it\n"
      "asks for it: wait for READY=1 rather than for the line.\n"
      "\n"
      "A Join for a VLAN that the neighbour has declared twice sends nothing before the next\n"
      "LeaveAll: both sides know.\n"
      "\n"
      "A process whose write the disk never ends stays in the kernel's table after it has ended,\n"
      "until the disk answers.");
  page.heading("FILES");
  page.item("/etc/mrp/mrp.toml", "Configuration, when it is there and none is named.");
  page.item("/run/mrp/", "Sockets.");
  page.heading("SEE ALSO");
  page.text("mrp(1), mrp.toml(5), bridge(8), nft(8), systemd.service(5)");
  return page.page();
}

void keys(Roff& page, std::span<const Daemon::Key> keys, std::string_view table,
          const void* defaults) {
  for (const Daemon::Key& key : keys) {
    if (key.table != table) continue;
    std::string text =
        sentence(std::string(key.help)) + "\nAllowed: " + std::string(key.allowed) + ".";
    if (const auto value = key.get(defaults)) {
      const std::string shown = Daemon::tomlText(*value);
      if (shown != "\"\"") text += "\nDefault: " + shown + ".";
    }
    if (key.fixedForLife) text += "\nA reload cannot change it.";
    page.item(key.name, text);
  }
}

constexpr const char* kExample = R"([agent]
bridge = "br0"
state = "/var/lib/mrp/state"

[mvrp]
declare = ["10", "20-29"]

[port.eth1]
forbidden = ["100-199"])";

std::string configurationPage() {
  Roff page("mrp.toml", 5, Daemon::kVersion);
  page.heading("NAME");
  page.text("mrp.toml - configuration of mrp-agent(8)");
  page.heading("DESCRIPTION");
  page.text(
      "A TOML file. Unknown keys, wrong types and values out of range are errors that name file,\n"
      "line, key and what is allowed; nothing starts half-configured. mrp agent --check reads it\n"
      "and prints every setting that comes of it.\n"
      "\n"
      "VLANs are 1 to 4094, written as numbers or ranges. What a command asked for wins over the\n"
      "file, and stays until another command, or a change of that very key, says otherwise.");
  const Daemon::Config defaults;
  const Daemon::PortConfig port;
  for (const char* table : {"agent", "mvrp", "msrp"}) {
    page.heading(std::string("TABLE [") + table + "]");
    keys(page, Daemon::keys(), table, &defaults);
  }
  page.heading("TABLES [port.NAME]");
  page.text("What differs on one port; a port that takes no part may have one.");
  keys(page, Daemon::portKeys(), "port", &port);
  page.heading("EXAMPLE");
  page.literal(kExample);
  page.heading("SEE ALSO");
  page.text("mrp-agent(8), mrp(1)");
  return page.page();
}

}  // namespace

std::string manualPage(const CLI::App& app, const std::string& name) {
  if (name == "mrp") return commandsPage(app);
  return name == "mrp-agent" ? agentPage(app) : configurationPage();
}

}  // namespace Cli
