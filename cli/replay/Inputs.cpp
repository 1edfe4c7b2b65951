#include "cli/replay/Inputs.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>

#include "cli/BadInput.h"
#include "cli/dump/DumpCommand.h"
#include "cli/dump/Pcapng.h"
#include "cli/replay/CaptureReader.h"
#include "cli/replay/JsonMembers.h"
#include "cli/replay/ScenarioReader.h"
#include "cli/replay/StatusFile.h"
#include "platform/interface/IntfId.h"

namespace Cli {
namespace {

using Mrp::MrpApplication;
using Platform::Seconds;

struct InputFile {
  std::string port;
  std::string path;
  bool scenario = false;
  std::vector<CapturedFrame> frames;  // of a capture
  std::vector<ScenarioLine> lines;    // of a scenario
  bool dump = false;                  // a folder that mrp dump wrote, which names its ports
  std::vector<std::string> ports;     // of the frames of a dump
};

// What was received; what was sent the replay sends itself. Frames keep their numbers in the file.
InputFile readDump(const std::string& folder) {
  InputFile file{.port = {},
                 .path = folder + "/" + DumpFile::kFrames,
                 .frames = {},
                 .lines = {},
                 .dump = true,
                 .ports = {}};
  for (DumpedFrame& frame : readPcapng(file.path)) {
    const bool received = frame.received;
    file.ports.push_back(std::move(frame.port));
    file.frames.push_back({frame.at, received ? std::move(frame.octets) : Octets()});
  }
  return file;
}

InputFile readInput(const std::string& input, bool bridge) {
  if (std::filesystem::is_directory(input)) return readDump(input);
  InputFile file{.port = "port1", .path = input, .frames = {}, .lines = {}, .ports = {}};
  const std::size_t equals = input.find('=');
  if (equals != std::string::npos) {
    file.port = input.substr(0, equals);
    file.path = input.substr(equals + 1);
    if (file.port.empty() || file.path.empty()) {
      throw BadInput(input, "a port and a file are expected on the two sides of \"=\"");
    }
  }
  file.scenario = file.path.ends_with(".jsonl");
  if (!file.scenario) {
    file.frames = readCapture(file.path);
    return file;
  }
  if (equals != std::string::npos) {
    throw BadInput(input, "a scenario names its ports in its lines");
  }
  file.lines = readScenario(file.path, bridge);
  return file;
}

// When the earliest capture begins: 0 of virtual time.
std::int64_t originOf(const std::vector<InputFile>& files) {
  std::int64_t origin = std::numeric_limits<std::int64_t>::max();
  for (const InputFile& file : files) {
    if (!file.frames.empty()) origin = std::min(origin, file.frames.front().at);
  }
  return origin;
}

// An action in the making. That of a scenario is read when the application is known.
struct Planned {
  Seconds at;
  std::optional<FrameAction> frame;
  const ScenarioLine* line = nullptr;
  std::uint32_t number = 0;
};

void planCapture(InputFile& file, std::int64_t origin, std::vector<Planned>& plan) {
  std::uint32_t number = 0;
  for (CapturedFrame& frame : file.frames) {
    ++number;
    if (file.dump && frame.octets.empty()) continue;
    const std::string& port = file.dump ? file.ports[number - 1] : file.port;
    std::int64_t at = 0;
    if (__builtin_sub_overflow(frame.at, origin, &at) ||
        !isTime(Seconds::fromNanoseconds(std::max<std::int64_t>(at, 0)).value())) {
      throw BadInput(file.path + ": packet " + std::to_string(number),
                     "the time of the packet is out of range");
    }
    plan.push_back({Seconds::fromNanoseconds(at), FrameAction{port, std::move(frame.octets), {}},
                    nullptr, number});
  }
}

// In the order in which things happen: by time, at one instant in the order of the command line.
std::vector<Planned> planOf(std::vector<InputFile>& files) {
  const std::int64_t origin = originOf(files);
  std::vector<Planned> plan;
  for (InputFile& file : files) {
    planCapture(file, origin, plan);
    for (const ScenarioLine& line : file.lines) plan.push_back({line.at, frameOf(line), &line});
  }
  std::ranges::stable_sort(plan, {}, &Planned::at);
  return plan;
}

MrpApplication applicationOf(const std::vector<Planned>& plan) {
  for (const Planned& planned : plan) {
    if (!planned.frame) continue;
    if (const auto application = Cli::applicationOf(planned.frame->octets)) return *application;
  }
  throw BadInput("no frame of MSRP or MVRP in the inputs tells the application, see --application");
}

// A capture names its port also when it holds no packet.
std::vector<std::string> portsIn(const std::vector<InputFile>& files, const Inputs& inputs) {
  const auto before = [](const std::string& a, const std::string& b) {
    return Platform::naturalOrder(a, b) < 0;
  };
  std::set<std::string, decltype(before)> ports(before);
  for (const InputFile& file : files) {
    if (file.dump) {
      ports.insert(file.ports.begin(), file.ports.end());
    } else if (!file.scenario) {
      ports.insert(file.port);
    }
  }
  for (const Action& action : inputs.actions) {
    for (std::string& port : portsOf(action)) ports.insert(std::move(port));
  }
  for (const AttributeState& attribute : inputs.status) ports.insert(attribute.port);
  return {ports.begin(), ports.end()};
}

}  // namespace

Inputs readInputs(const InputFiles& names) {
  std::vector<InputFile> files;
  for (const std::string& input : names.inputs) files.push_back(readInput(input, names.bridge));
  std::vector<Planned> plan = planOf(files);

  Inputs inputs;
  inputs.application = names.application ? *names.application : applicationOf(plan);
  for (Planned& planned : plan) {
    inputs.actions.push_back(planned.line
                                 ? actionOf(*planned.line, inputs.application)
                                 : Action{planned.at, *std::move(planned.frame), planned.number});
  }
  if (!names.status.empty()) inputs.status = readStatus(names.status, inputs.application);
  inputs.ports = portsIn(files, inputs);
  return inputs;
}

}  // namespace Cli
