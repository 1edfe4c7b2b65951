#include "cli/web/Metrics.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <map>
#include <utility>

namespace Cli {
namespace {

using Rpc::Json;

using Labels = std::initializer_list<std::pair<const char*, std::string>>;

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

// One family: its description, and its samples below.
class Family {
 public:
  Family(std::string& out, const char* name, const char* type, const char* help)
      : out_(out), name_(name), isCounter_(std::string_view(type) == "counter") {
    out_ += std::string("# TYPE ") + name + ' ' + type + "\n# HELP " + name + ' ' + help + '\n';
  }
  void add(const Labels& labels, double value) {
    out_ += name_;
    if (isCounter_) out_ += "_total";
    char before = '{';
    for (const auto& [label, text] : labels) {
      out_ += before;
      out_ += label;
      out_ += "=\"" + escaped(text) + '"';
      before = ',';
    }
    if (before == ',') out_ += '}';
    char digits[40];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out_ += ' ';
    out_.append(digits, end);
    out_ += '\n';
  }

 private:
  std::string& out_;
  std::string name_;
  bool isCounter_;
};

const Json& member(const Json& json, const char* name) {
  static const Json none;
  if (!json.is_object()) return none;
  const auto at = json.find(name);
  return at == json.end() ? none : *at;
}

double number(const Json& json, const char* name) {
  const Json& value = member(json, name);
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  return value.is_number() ? value.get<double>() : 0;
}

std::string text(const Json& json, const char* name) {
  const Json& value = member(json, name);
  if (value.is_string()) return value.get<std::string>();
  return value.is_number_integer() ? std::to_string(value.get<std::int64_t>()) : std::string();
}

// How many VLANs are in ["7","20-29"].
double vlansIn(const Json& ranges) {
  double count = 0;
  if (!ranges.is_array()) return count;
  for (const Json& range : ranges) {
    const auto& of = range.get_ref<const std::string&>();
    unsigned first = 0;
    unsigned last = 0;
    const auto end = std::from_chars(of.data(), of.data() + of.size(), first).ptr;
    last = first;
    if (end != of.data() + of.size()) std::from_chars(end + 1, of.data() + of.size(), last);
    count += last - first + 1;
  }
  return count;
}

void addAgent(std::string& out, const Json& tables) {
  const Json& status = member(tables, "status");
  // The suffix belongs to the type.
  out += "# TYPE mrp_agent info\n# HELP mrp_agent What runs.\nmrp_agent_info{version=\"" +
         escaped(text(tables, "version")) + "\",mode=\"" + escaped(text(status, "mode")) +
         "\"} 1\n";
  Family(out, "mrp_active", "gauge", "Whether the agent leads; 0 in standby.")
      .add({}, number(status, "active"));
  Family(out, "mrp_uptime_seconds", "gauge", "Since the agent started.")
      .add({}, number(status, "uptime"));
  Family(out, "mrp_takeovers", "counter", "Takeovers by a standby since these metrics began.")
      .add({}, number(tables, "takeovers"));
  const Json& state = member(status, "state");
  Family(out, "mrp_state_healthy", "gauge", "Whether the state can be written.")
      .add({}, number(state, "healthy"));
  Family(out, "mrp_state_behind", "gauge", "How much waits to be written to the state.")
      .add({}, number(state, "behind"));
}

void addFrames(std::string& out, const Json& rows) {
  Family frames(out, "mrp_frames", "counter", "MRPDUs by port.");
  for (const Json& row : rows) {
    for (const char* direction : {"received", "sent"}) {
      frames.add({{"port", text(row, "port")},
                  {"application", text(row, "application")},
                  {"direction", direction}},
                 number(member(row, "frames"), direction));
    }
  }
  Family lost(
      out, "mrp_frames_lost", "counter",
      "Frames that were not taken: filtered by the engine, dropped by the kernel, or not sent.");
  for (const Json& row : rows) {
    for (const char* where : {"filtered", "dropped", "sendErrors"}) {
      lost.add({{"port", text(row, "port")},
                {"application", text(row, "application")},
                {"where", where}},
               number(member(row, "frames"), where));
    }
  }
}

void addEvents(std::string& out, const Json& rows) {
  Family events(out, "mrp_events", "counter", "Attribute events by port and kind.");
  for (const Json& row : rows) {
    for (const char* direction : {"received", "sent"}) {
      for (const auto& [event, count] : member(member(row, "events"), direction).items()) {
        events.add({{"port", text(row, "port")},
                    {"application", text(row, "application")},
                    {"direction", direction},
                    {"event", event}},
                   count.get<double>());
      }
    }
  }
  Family transitions(out, "mrp_transitions", "counter",
                     "Changes of state of Applicants and Registrars.");
  for (const Json& row : rows) {
    transitions.add({{"port", text(row, "port")}, {"application", text(row, "application")}},
                    number(row, "transitions"));
  }
  Family discards(out, "mrp_discards", "counter", "What was not acted on, by reason.");
  for (const Json& row : rows) {
    for (const auto& [reason, count] : member(row, "discards").items()) {
      discards.add({{"port", text(row, "port")},
                    {"application", text(row, "application")},
                    {"reason", reason}},
                   count.get<double>());
    }
  }
}

void addEngines(std::string& out, const Json& engines) {
  Family refused(out, "mrp_refused_events", "counter", "Events refused by a limit of attributes.");
  for (const Json& row : engines) {
    refused.add({{"application", text(row, "application")}}, number(row, "numOfRefusedEvents"));
  }
  Family indications(out, "mrp_indications", "counter",
                     "Registrations and their ends, as applications heard of them.");
  for (const Json& row : engines) {
    const std::string application = text(row, "application");
    indications.add({{"application", application}, {"kind", "join"}},
                    number(row, "numOfJoinIndications"));
    indications.add({{"application", application}, {"kind", "leave"}},
                    number(row, "numOfLeaveIndications"));
  }
}

void addRegistrations(std::string& out, const Json& tables) {
  // By port and kind: talkers that are advertised, talkers that failed, listeners.
  std::map<std::pair<std::string, std::string>, double> streams;
  std::map<std::pair<std::string, std::string>, double> reserved;  // by port and class
  const Json& rows = member(tables, "streams");
  for (const Json& row : rows.is_array() ? rows : Json::array()) {
    const auto isRegistered = [](const Json& of) {
      return text(of, "registrar") == "IN" || text(of, "registrar") == "LV";
    };
    const Json& talker = member(row, "talker");
    if (isRegistered(talker)) ++streams[{text(row, "port"), "talker-" + text(talker, "kind")}];
    if (isRegistered(member(row, "listener"))) ++streams[{text(row, "port"), "listener"}];
    const Json& fate = member(row, "fate");
    if (member(fate, "reserved") == true) ++reserved[{text(row, "port"), text(fate, "srClassId")}];
  }
  Family registered(out, "mrp_registrations", "gauge", "Attributes that are registered.");
  for (const Json& port : member(tables, "ports")) {
    if (!member(port, "mvrp").is_object()) continue;
    registered.add({{"port", text(port, "port")}, {"application", "mvrp"}, {"type", "vlan"}},
                   vlansIn(member(member(port, "mvrp"), "registered")));
  }
  for (const auto& [of, count] : streams) {
    registered.add({{"port", of.first}, {"application", "msrp"}, {"type", of.second}}, count);
  }
  Family declared(out, "mrp_declarations", "gauge", "VLANs that are declared.");
  for (const Json& port : member(tables, "ports")) {
    if (!member(port, "mvrp").is_object()) continue;
    declared.add({{"port", text(port, "port")}, {"application", "mvrp"}},
                 vlansIn(member(member(port, "mvrp"), "declared")));
  }
  Family reservations(out, "mrp_reservations", "gauge", "Streams that have bandwidth on a port.");
  for (const auto& [of, count] : reserved) {
    reservations.add({{"port", of.first}, {"class", of.second}}, count);
  }
  Family up(out, "mrp_port_up", "gauge", "Whether the port has a link.");
  for (const Json& port : member(tables, "ports")) {
    up.add({{"port", text(port, "port")}}, text(port, "link") == "up" ? 1 : 0);
  }
}

void addBandwidth(std::string& out, const Json& rows) {
  if (!rows.is_array()) return;
  Family bandwidth(out, "mrp_bandwidth_bits_per_second", "gauge",
                   "Of a class on a port: what streams may have, have reserved, and is left.");
  for (const Json& row : rows) {
    for (const char* what : {"limit", "reserved", "left"}) {
      bandwidth.add(
          {{"port", text(row, "port")}, {"class", text(row, "srClassId")}, {"what", what}},
          number(row, what));
    }
  }
}

}  // namespace

std::string metricsText(const Json& tables, int viewers) {
  std::string out;
  Family(out, "mrp_up", "gauge", "Whether there is an agent.").add({}, tables.is_object() ? 1 : 0);
  Family(out, "mrp_web_viewers", "gauge", "Pages that look on.").add({}, viewers);
  if (tables.is_object()) {
    const Json& counters = member(tables, "counters");
    addAgent(out, tables);
    addFrames(out, member(counters, "ports"));
    addEvents(out, member(counters, "ports"));
    addEngines(out, member(counters, "engines"));
    addRegistrations(out, tables);
    addBandwidth(out, member(tables, "bandwidth"));
  }
  return out + "# EOF\n";
}

}  // namespace Cli
