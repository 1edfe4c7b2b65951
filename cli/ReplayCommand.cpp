#include "cli/ReplayCommand.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "cli/BadInput.h"
#include "cli/replay/JsonOutput.h"
#include "cli/replay/PcapWriter.h"
#include "cli/replay/ReplaySession.h"
#include "cli/replay/StatusFile.h"
#include "cli/replay/TextOutput.h"
#include "cli/replay/ValueText.h"

namespace Cli {
namespace {

std::unique_ptr<Output> outputFor(const ReplayCommand& command, const Inputs& inputs,
                                  std::ostream& out) {
  if (command.json) return std::make_unique<JsonOutput>(out);
  return std::make_unique<TextOutput>(out, inputs.application, inputs.ports);
}

ReplayOptions optionsOf(const ReplayCommand& command, std::ostream& err) {
  ReplayOptions options;
  options.leaveTime = command.leaveTime;
  options.leaveAllTime = command.leaveAllTime;
  if (command.until) options.until = *command.until;
  options.standby = command.standby;
  options.bridge = command.files.bridge;
  if (!command.trace) return options;
  options.traceLevel = *command.trace;
  options.trace = [&err](Platform::Seconds time, const Platform::Trace::Entry& entry) {
    // A record has no level.
    const std::string level = entry.level < 0 ? "-" : std::to_string(entry.level);
    err << timeText(time) << ' ' << level << ' ' << entry.text << '\n';
  };
  return options;
}

// Opened before the run, so that a name that cannot be written is found in time.
std::ofstream fileFor(const std::string& path) {
  std::ofstream file;
  if (path.empty()) return file;
  file.open(path, std::ios::binary);
  if (!file) throw BadInput(path, std::strerror(errno));
  return file;
}

}  // namespace

void replay(const ReplayCommand& command, std::ostream& out, std::ostream& err) {
  const Inputs inputs = readInputs(command.files);
  std::ofstream status = fileFor(command.saveStatus);
  std::unique_ptr<Output> capture;
  if (!command.write.empty()) capture = std::make_unique<PcapWriter>(command.write);
  const std::unique_ptr<Output> shown = outputFor(command, inputs, out);
  std::vector<Output*> outputs{shown.get()};
  if (capture) outputs.push_back(capture.get());

  ReplaySession session(inputs, optionsOf(command, err), outputs);
  session.run();
  if (!command.saveStatus.empty()) {
    status << statusText(attributesOf(session.database(), Records::committed), inputs.application)
           << std::flush;
    if (!status) throw BadInput(command.saveStatus, "the status could not be written");
  }
  if (!out.flush()) throw BadInput("standard output", "could not be written");
}

}  // namespace Cli
