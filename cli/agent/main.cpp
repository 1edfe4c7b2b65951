// The program that `mrp agent` becomes.

#include <CLI/CLI.hpp>
#include <iostream>

#include "agent/daemon/linux/Process.h"
#include "cli/agent/AgentOptions.h"

int main(int argc, char** argv) {
  CLI::App app("Run MVRP and MSRP on ports of this host", "mrp");
  Cli::AgentOptions options;
  options.describe(*app.add_subcommand("agent")->required());
  try {
    app.parse(argc, argv);
    return Daemon::runAgent(Daemon::fileMeant(options.file), options.given());
  } catch (const std::exception& error) {
    std::cerr << "mrp: " << error.what() << std::endl;
    return Daemon::Exit::kConfiguration;
  }
}
