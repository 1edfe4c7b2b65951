#include "cli/ReplayCommand.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "cli/BadInput.h"
#include "cli/replay/HtmlOutput.h"
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

ReplayOptions replayOptions(const ReplayCommand& command, std::ostream& err) {
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

// The inputs without their folders: "port1=left.pcap, story.jsonl".
std::string titleOf(const ReplayCommand& command) {
  std::string title;
  for (const std::string& input : command.files.inputs) {
    const std::size_t port = input.find('=') + 1;  // 0 without a port
    const std::size_t folder = input.rfind('/') + 1;
    if (!title.empty()) title += ", ";
    title += folder > port ? input.substr(0, port) + input.substr(folder) : input;
  }
  return title;
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
  std::unique_ptr<HtmlOutput> page;
  if (!command.html.empty()) {
    page = std::make_unique<HtmlOutput>(command.html, inputs, titleOf(command));
  }
  const std::unique_ptr<Output> shown = outputFor(command, inputs, out);
  std::vector<Output*> outputs{shown.get()};
  if (capture) outputs.push_back(capture.get());
  if (page) outputs.push_back(page.get());

  ReplayOptions options = replayOptions(command, err);
  if (page) {
    options.observer = page.get();
    options.records = HtmlOutput::kRecords;
  }
  ReplaySession session(inputs, options, outputs);
  if (page) page->accountIs(session.account());
  session.run();
  if (!command.saveStatus.empty()) {
    status << statusText(attributesOf(session.database(), Records::committed), inputs.application)
           << std::flush;
    if (!status) throw BadInput(command.saveStatus, "the status could not be written");
  }
  if (!out.flush()) throw BadInput("standard output", "could not be written");
}

}  // namespace Cli
