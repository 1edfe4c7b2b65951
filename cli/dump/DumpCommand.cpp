#include "cli/dump/DumpCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cli/BadInput.h"
#include "cli/agent/Remote.h"
#include "cli/dump/Pcapng.h"
#include "cli/replay/JsonMembers.h"

namespace Cli {
namespace {

using Rpc::Json;

class Folder {
 public:
  explicit Folder(std::string path) : path_(std::move(path)) {
    std::error_code error;
    std::filesystem::create_directories(path_, error);
    if (error) throw BadInput(path_, error.message());
    if (!std::filesystem::is_empty(path_, error)) throw BadInput(path_, "is not empty");
  }
  std::ofstream file(const std::string& name) const {
    errno = 0;
    std::ofstream made(path_ + "/" + name, std::ios::binary);
    if (!made) throw BadInput(path_ + "/" + name, std::strerror(errno));
    return made;
  }
  void text(const std::string& name, const std::string& content) const {
    std::ofstream out = file(name);
    end(name, out << content);
  }
  void end(const std::string& name, std::ostream& out) const {
    if (!out.flush()) throw BadInput(path_ + "/" + name, "could not be written");
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string jsonLine(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::size_t writeFrames(Remote& agent, const Folder& folder, const std::string& version) {
  std::ofstream out = folder.file(DumpFile::kFrames);
  PcapngWriter writer(out, "mrp " + version, "frames that the agent of mrp " + version + " kept");
  std::size_t frames = 0;
  Json params = Json::object();
  for (;;) {
    const Json part = agent.call("frames", params);
    for (const Json& f : part["frames"]) {
      writer.frame({f["wall"].get<std::int64_t>(), f["port"].get<std::string>(),
                    f["received"].get<bool>(),
                    octetsFromHex(f["hex"].get<std::string>()).value_or(Octets())});
      ++frames;
    }
    if (part["next"].is_null()) break;
    params["from"] = part["next"];
  }
  folder.end(DumpFile::kFrames, out);
  return frames;
}

void writeAccount(Remote& agent, const Folder& folder, const std::string& application) {
  const std::string name = "account-" + application + ".jsonl";
  std::ofstream out = folder.file(name);
  Json params{{"application", application}};
  for (;;) {
    const Json part = agent.call("account", params);
    for (const Json& record : part["records"]) out << jsonLine(record);
    if (part["next"].is_null()) break;
    params["from"] = part["next"];
  }
  folder.end(name, out);
}

std::string about(const std::string& version, bool bridge,
                  const std::vector<std::string>& applications) {
  std::string text = "What the agent of mrp " + version +
                     " had recorded when it was asked (mrp dump).\n\n"
                     "frames.pcapng      the last frames, one interface a port, with direction\n"
                     "mrp.toml           the configuration, what is not as it is at first\n"
                     "status.json, ports.json, counters.json, attributes.json\n"
                     "                   the agent, its ports, counters, and records, as\n"
                     "                   mrp show --json prints them\n"
                     "account-*.jsonl    what happened and why, one record a line\n\n"
                     "To look, from outside of this folder (FOLDER is its name):\n\n";
  const std::string options = bridge ? " --bridge" : "";
  for (const std::string& application : applications) {
    text += "    mrp replay FOLDER --application " + application +
            (application == "mvrp" ? options : std::string()) + "\n";
  }
  return text + "    mrp why vlan 100 --port PORT --replay FOLDER" + options +
         "\n"
         "    tshark -r FOLDER/frames.pcapng\n\n"
         "A replay begins with nothing registered, so what was registered before the first frame\n"
         "appears with the next LeaveAll. It knows the frames alone, neither the requests nor the\n"
         "roles of ports; those stand in the account.\n\n"
         "There are no passwords, keys or user data in these files. There are addresses: those of\n"
         "this host's ports and of its neighbours, names of ports, VLANs and streams, and numbers\n"
         "of the users who gave commands.\n";
}

}  // namespace

void dump(const std::string& socket, const std::string& path, std::ostream& out) {
  Remote agent(socket);
  const Json configuration = agent.call("configuration");
  const Json status = agent.call("status");
  const Folder folder(path);
  const auto version = configuration["version"].get<std::string>();
  const auto applications = status["applications"].get<std::vector<std::string>>();
  folder.text(DumpFile::kConfiguration, configuration["toml"].get<std::string>());
  folder.text("status.json", jsonLine(status));
  for (const char* method : {"ports", "counters", "attributes"}) {
    folder.text(std::string(method) + ".json", jsonLine(agent.call(method)));
  }
  const std::size_t frames = writeFrames(agent, folder, version);
  for (const std::string& application : applications) writeAccount(agent, folder, application);
  folder.text(DumpFile::kAbout, about(version, configuration["mode"] == "bridge", applications));
  out << folder.path() << ": " << frames << " frames; " << DumpFile::kAbout
      << " says how to look\n";
}

}  // namespace Cli
