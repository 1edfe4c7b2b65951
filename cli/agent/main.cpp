// The program that `mrp agent` becomes, which has read the same command line.

#include <CLI/CLI.hpp>

#include "agent/daemon/linux/Process.h"
#include "cli/agent/AgentOptions.h"

int main(int argc, char** argv) {
  CLI::App app("Run MVRP and MSRP on ports of this host", "mrp");
  Cli::AgentOptions options;
  options.describe(*app.add_subcommand("agent")->required());
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? Daemon::Exit::kDone : Daemon::Exit::kConfiguration;
  }
  const std::string file = Daemon::fileMeant(options.file);
  return options.check ? Daemon::checkConfiguration(file, options.given())
                       : Daemon::runAgent(file, options.given());
}
