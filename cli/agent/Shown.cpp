// What people see of an agent's answers.

#include "cli/agent/Shown.h"
#include "cli/replay/BridgeText.h"

#include <array>
#include <cstdio>
#include <map>

#include "agent/daemon/config/VlanRanges.h"

namespace Cli {
namespace {

using Rpc::Json;

std::string cellOf(const Json& value, const char* none = "-") {
  if (value.is_null()) return none;
  if (value.is_string()) return value.get<std::string>();
  return value.dump();
}

std::string fixedText(double number, int digits) {
  std::array<char, 64> text{};
  const int size = std::snprintf(text.data(), text.size(), "%.*f", digits, number);
  return {text.data(), static_cast<std::size_t>(size)};
}

std::string secondsText(const Json& seconds) {
  return seconds.is_number() ? fixedText(seconds.get<double>(), 1) + " s" : "-";
}

std::string joined(const Json& list) {
  std::string text;
  for (const Json& item : list) text += (text.empty() ? "" : ", ") + cellOf(item);
  return text.empty() ? "none" : text;
}

const char* yes(const Json& flag) {
  if (!flag.is_boolean()) return "-";
  return flag.get<bool>() ? "yes" : "no";
}

void line(std::ostream& out, const std::string& name, const std::string& text) {
  constexpr std::size_t kName = 14;
  std::string indent = name;
  indent.resize(std::max(kName, name.size() + 2), ' ');
  printWrapped(out, indent, indent.size(), text);
}

// --- status --------------------------------------------------------------------------------------

void status(std::ostream& out, const Style& style, const Json& r) {
  const bool bridge = r["mode"] == "bridge";
  line(out, "agent",
       "process " + cellOf(r["pid"]) + ", up " + durationText(r["uptime"].get<double>()));
  line(out, "mode", bridge ? "bridge " + cellOf(r["bridge"]) : "station");
  line(out, "active", r["active"].get<bool>() ? "yes" : "no, standing by");
  std::string applications;
  for (const Json& name : r["applications"]) {
    bool propagated = false;
    for (const Json& p : r.value("propagated", Json::array())) propagated |= p == name;
    applications += (applications.empty() ? "" : ", ") + cellOf(name);
    if (bridge) applications += propagated ? " (propagated)" : " (not propagated)";
  }
  line(out, "applications", applications.empty() ? "none" : applications);
  const Json& state = r["state"];
  std::string kept = "memory only";
  if (state["kind"] != "memory") {
    kept = cellOf(state["path"]) + ", " +
           (state["healthy"].get<bool>() ? "healthy" : style.bad("not kept")) + ", " +
           cellOf(state["behind"]) + " behind";
  }
  line(out, "state", kept);
  if (!bridge) return;
  const Json& kernel = r["kernel"];
  line(out, "kernel",
       std::string("VLAN filtering ") + yes(kernel["vlanFiltering"]) + ", relay blocked " +
           yes(kernel["relayBlocked"]));
  for (const Json& text : kernel.value("refused", Json::array())) {
    line(out, "refused", style.bad(cellOf(text)));
  }
}

// "6 (A)".
std::string classText(const Json& id) {
  if (!id.is_number_unsigned() || id.get<unsigned>() > 6) return cellOf(id);
  return cellOf(id) + " (" + static_cast<char>('A' + 6 - id.get<unsigned>()) + ")";
}

// --- ports ---------------------------------------------------------------------------------------

void application(std::ostream& out, const char* name, const Json& a) {
  if (!a.is_object()) return;
  constexpr std::size_t kIndent = 8;
  std::string indent = "  " + std::string(name);
  indent.resize(kIndent, ' ');
  printWrapped(out, indent, kIndent,
               "leave " + secondsText(a["leaveTime"]) + ", LeaveAll " +
                   secondsText(a["leaveAllTime"]) + ", due in " + secondsText(a["leaveAllDue"]) +
                   ", last origin " + cellOf(a["lastOrigin"], "none"));
  for (const char* set : {"registered", "declared", "programmed", "fixed", "forbidden"}) {
    const auto value = a.find(set);
    if (value == a.end() || value->is_null()) continue;
    const bool always =
        std::string_view(set) == "registered" || std::string_view(set) == "declared";
    if (!always && value->empty()) continue;
    std::string head(kIndent, ' ');
    head += set;
    constexpr std::size_t kHead = 20;
    head.resize(kHead, ' ');
    printWrapped(out, head, kHead, value->is_array() ? joined(*value) : cellOf(*value));
  }
  const Json boundary = a.value("boundary", Json());
  if (!boundary.is_array()) return;
  std::string classes;
  for (const Json& c : boundary)
    classes += (classes.empty() ? "class " : ", class ") + classText(c);
  printWrapped(out, std::string(kIndent, ' ') + "boundary    ", kIndent + 12,
               classes.empty() ? "none" : classes);
}

void ports(std::ostream& out, const Style& style, const Json& r) {
  if (r.empty()) out << "no ports\n";
  for (const Json& p : r) {
    const bool up = p["link"] == "up";
    std::string text = up ? "up" : style.bad(cellOf(p["link"]));
    if (!p["role"].is_null()) text += ", " + cellOf(p["role"]);
    if (!p["mac"].is_null()) {
      text +=
          ", " + cellOf(p["mac"]) + ", MTU " + cellOf(p["mtu"]) + ", index " + cellOf(p["ifindex"]);
    }
    out << style.bold(cellOf(p["port"])) << "  " << text << '\n';
    application(out, "mvrp", p["mvrp"]);
    application(out, "msrp", p["msrp"]);
  }
}

// --- vlans ---------------------------------------------------------------------------------------

// VLANs that are alike stand in one row.
void vlans(std::ostream& out, const Style& style, const Json& r) {
  std::vector<std::pair<std::vector<std::string>, Mrp::VlanSet>> rows;
  std::map<std::vector<std::string>, std::size_t> places;
  for (const Json& v : r) {
    const std::string states =
        v["applicant"].is_null() ? "-" : cellOf(v["applicant"]) + "/" + cellOf(v["registrar"]);
    std::vector<std::string> row{cellOf(v["port"]),         yes(v["registered"]),
                                 yes(v["declared"]),        yes(v["programmed"]),
                                 cellOf(v["registration"]), states};
    const auto [place, isNew] = places.try_emplace(row, rows.size());
    if (isNew) rows.emplace_back(std::move(row), Mrp::VlanSet());
    rows[place->second].second.put(v["vlan"].get<std::uint16_t>(), true);
  }
  TextTable table(
      {"PORT", "REGISTERED", "DECLARED", "PROGRAMMED", "REGISTRATION", "STATE", "VLANS"});
  for (auto& [row, set] : rows) {
    row.push_back(Daemon::rangesText(set));
    table.row(std::move(row));
  }
  table.print(out, style);
}

// --- streams and domains -------------------------------------------------------------------------

std::string talkerText(const Style& style, const Json& t) {
  std::string text = cellOf(t["kind"]) + " " + cellOf(t["applicant"]) + "/" +
                     cellOf(t["registrar"]) + ": to " + cellOf(t["dmac"]) + " in VLAN " +
                     cellOf(t["vlanId"]) + ", " + cellOf(t["maxIntervalFrames"]) + " x " +
                     cellOf(t["maxFrameSize"]) + " octets an interval";
  if (t["bandwidth"].is_number()) text += ", " + rateText(t["bandwidth"].get<std::uint64_t>());
  text += ", priority " + cellOf(t["priority"]) + ", rank " + cellOf(t["rank"]) + ", latency " +
          cellOf(t["accumulatedLatency"]) + " ns";
  if (!t["failureCode"].is_null()) {
    text += ", " +
            style.bad("failure " + cellOf(t["failureCode"]) + " (" + cellOf(t["failure"]) + ")") +
            " at bridge " + cellOf(t["bridgeId"]);
  }
  return text;
}

std::string bitsText(const Json& rate) {
  return rate.is_number() ? rateText(rate.get<std::uint64_t>()) : "-";
}

// What the bridge has decided of a stream on a port.
std::string fateText(const Style& style, const Json& f) {
  if (f["inward"].get<bool>()) {
    return "comes in here, needs " + bitsText(f["needed"]) +
           "; to the talker: " + cellOf(f["merged"], "no listener");
  }
  std::string text = "nothing declared";
  if (f["declared"] == "advertise") text = "advertised";
  if (f["declared"] == "failed") {
    text = style.bad("failed, " + cellOf(f["failureCode"]) + " " + cellOf(f["failure"])) +
           ", bridge " + cellOf(f["bridgeId"]);
    if (!f["recoversIn"].is_null()) text += ", a new stream in " + secondsText(f["recoversIn"]);
  }
  text += "; listener " + cellOf(f["listener"], "none");
  if (f["reserved"].get<bool>()) text += ", reserved";
  if (f["needed"].is_null()) return text;
  return text + "; needs " + bitsText(f["needed"]) + " of class " + classText(f["srClassId"]) +
         ": " + bitsText(f["allowed"]) + " allowed, " + bitsText(f["inUse"]) + " in use, " +
         bitsText(f["left"]) + " left";
}

void streams(std::ostream& out, const Style& style, const Json& r) {
  if (r.empty()) out << "no streams\n";
  for (const Json& s : r) {
    out << style.bold(cellOf(s["port"])) << "  " << cellOf(s["streamId"]) << '\n';
    constexpr std::size_t kIndent = 12;
    if (s["talker"].is_object()) {
      printWrapped(out, "  talker    ", kIndent, talkerText(style, s["talker"]));
    }
    const Json& l = s["listener"];
    if (l.is_object()) {
      printWrapped(
          out, "  listener  ", kIndent,
          cellOf(l["event"]) + " " + cellOf(l["applicant"]) + "/" + cellOf(l["registrar"]));
    }
    const Json fate = s.value("fate", Json());
    if (fate.is_object()) printWrapped(out, "  bridge    ", kIndent, fateText(style, fate));
  }
}

void domains(std::ostream& out, const Style& style, const Json& r) {
  TextTable table({"PORT", "CLASS", "PRIORITY", "VLAN", "OURS", "THEIRS"});
  for (const Json& d : r) {
    table.row({cellOf(d["port"]), classText(d["srClassId"]), cellOf(d["srClassPriority"]),
               cellOf(d["srClassVID"]), yes(d["ours"]), yes(d["theirs"])});
  }
  table.print(out, style);
}

void bandwidth(std::ostream& out, const Style& style, const Json& r) {
  TextTable table(
      {"PORT", "CLASS", "RATE", "DELTA", "LIMIT", "RESERVED", "LEFT", "IDLE SLOPE", "BOUNDARY"});
  for (const Json& b : r) {
    table.row({cellOf(b["port"]), classText(b["srClassId"]), bitsText(b["rate"]),
               cellOf(b["delta"]) + " %", bitsText(b["limit"]), bitsText(b["reserved"]),
               bitsText(b["left"]), bitsText(b["idleSlope"]), yes(b["boundary"])});
  }
  table.print(out, style);
}

// --- attributes, counters, timers ----------------------------------------------------------------

void attributes(std::ostream& out, const Style& style, const Json& r) {
  TextTable table({"PORT", "APPLICATION", "TYPE", "KEY", "STATE", "VALUE"});
  for (const Json& a : r) {
    table.row({cellOf(a["port"]), cellOf(a["application"]), cellOf(a["type"]), cellOf(a["key"]),
               cellOf(a["applicant"]) + "/" + cellOf(a["registrar"]), cellOf(a["value"])});
  }
  table.print(out, style);
}

void counters(std::ostream& out, const Style& style, const Json& r) {
  const Json& rows = r.is_object() ? r["ports"] : r;
  std::vector<std::string> headings{"PORT", "", ""};
  if (!rows.empty()) {
    for (const auto& [event, count] : rows[0]["events"]["received"].items()) {
      headings.push_back(event);
    }
  }
  headings.insert(headings.begin() + 3, "FRAMES");
  TextTable table(headings);
  for (const Json& row : rows) {
    for (const char* direction : {"received", "sent"}) {
      std::vector<std::string> cells{cellOf(row["port"]), cellOf(row["application"]), direction,
                                     cellOf(row["frames"][direction])};
      for (const auto& [event, count] : row["events"][direction].items()) {
        cells.push_back(cellOf(count));
      }
      table.row(std::move(cells));
    }
  }
  table.print(out, style);
  for (const Json& row : rows) {
    std::string text;
    for (const char* name : {"filtered", "dropped", "sendErrors"}) {
      if (row["frames"][name] != 0) {
        text += (text.empty() ? "" : ", ") + std::string(name) + " " + cellOf(row["frames"][name]);
      }
    }
    const Json discards = row.value("discards", Json::object());
    for (const auto& [reason, count] : discards.items()) {
      text += (text.empty() ? "" : ", ") + reason + " " + cellOf(count);
    }
    if (!text.empty()) line(out, cellOf(row["port"]) + " " + cellOf(row["application"]), text);
  }
  if (!r.is_object()) return;
  for (const Json& engine : r["engines"]) {
    std::string text;
    for (const auto& [name, count] : engine.items()) {
      if (name == "application") continue;
      text += (text.empty() ? "" : ", ") + name + " " + cellOf(count);
    }
    line(out, "engine " + cellOf(engine["application"]), text);
  }
}

void timers(std::ostream& out, const Style& style, const Json& r) {
  TextTable table({"PORT", "APPLICATION", "TYPE", "LEAVEALL", "DUE IN"});
  for (const Json& t : r) {
    table.row({cellOf(t["port"]), cellOf(t["application"]), cellOf(t["type"]),
               secondsText(t["leaveAllTime"]), secondsText(t["due"])});
  }
  table.print(out, style);
}

constexpr std::array kMethods{
    ShowMethod{"status", "The agent itself", status},
    ShowMethod{"ports", "Ports with their roles, times and VLANs", ports},
    ShowMethod{"vlans", "VLANs with their states", vlans},
    ShowMethod{"streams", "Streams: talkers and listeners", streams},
    ShowMethod{"domains", "SR class domains, ours and the neighbours'", domains},
    ShowMethod{"bandwidth", "What streams have reserved on each port, and what is left", bandwidth},
    ShowMethod{"attributes", "Every attribute as the engines hold it", attributes},
    ShowMethod{"counters", "Frames and events by port", counters},
    ShowMethod{"timers", "When LeaveAlls are due", timers},
};

}  // namespace

const ShowMethod* showMethods(std::size_t& count) {
  count = kMethods.size();
  return kMethods.data();
}

std::string durationText(double seconds) {
  const auto whole = static_cast<std::uint64_t>(seconds < 0 ? 0 : seconds);
  const std::uint64_t minutes = whole / 60;
  const std::uint64_t hours = minutes / 60;
  const std::uint64_t days = hours / 24;
  if (days > 0) return std::to_string(days) + " d " + std::to_string(hours % 24) + " h";
  if (hours > 0) return std::to_string(hours) + " h " + std::to_string(minutes % 60) + " min";
  if (minutes > 0) return std::to_string(minutes) + " min " + std::to_string(whole % 60) + " s";
  return fixedText(seconds, 1) + " s";
}

std::string eventText(const Json& event) {
  std::string text = fixedText(event.value("time", 0.0), 6) + " " + cellOf(event["kind"]);
  for (const auto& [name, value] : event.items()) {
    if (name == "time" || name == "kind") continue;
    text += " " + name + "=" + (value.is_array() ? joined(value) : cellOf(value));
  }
  return text;
}

}  // namespace Cli
