#include "cli/replay/BridgeText.h"

#include <array>
#include <iomanip>
#include <sstream>

#include "cli/replay/Table.h"

namespace Cli {
namespace {

using Mrp::FailureCode;
using Mrp::TalkerKind;

// "80:00:02:00:00:00:00:00".
std::string octetsText(std::uint64_t number) {
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  for (int shift = 56; shift >= 0; shift -= 8) {
    text << std::setw(2) << (number >> shift & 0xff) << (shift > 0 ? ":" : "");
  }
  return std::move(text).str();
}

// "1-3, 10".
std::string vlansText(const Mrp::VlanSet& vlans) {
  std::string text;
  int first = 0, last = -1;
  const auto flush = [&] {
    if (last < 0) return;
    text += (text.empty() ? "" : ", ") + std::to_string(first);
    if (last > first) text += "-" + std::to_string(last);
  };
  vlans.walk([&](std::uint16_t vlan) {
    if (vlan != last + 1 || last < 0) {
      flush();
      first = vlan;
    }
    last = vlan;
  });
  flush();
  return text.empty() ? "none" : text;
}

const char* listenerText(Mrp::MsrpListenerEvent event) {
  static constexpr std::array<const char*, 4> kTexts{"none", "asking failed", "ready",
                                                     "ready failed"};
  return kTexts[static_cast<std::size_t>(event)];
}

// What is to be done about a failure, where that can be said in a line.
const char* remedy(std::uint8_t code) {
  switch (static_cast<FailureCode>(code)) {
    case FailureCode::priorityOfNoClass:
      return "a talker's priority is 3 (class A) or 2 (class B)";
    case FailureCode::notCapable:
      return "does the neighbour declare the class, is the port synchronised?";
    case FailureCode::priorityMismatch:
      return "the neighbour's domain names another priority";
    case FailureCode::taggingDisabled:
      return "let the VLAN leave the port tagged";
    default:
      return nullptr;
  }
}

std::string failureLine(const Mrp::StreamState& stream, const Mrp::StreamPortState& port) {
  std::string text = "failed, " + std::to_string(port.code);
  if (const char* reason = Mrp::failureText(port.code)) text += std::string(" ") + reason;
  const auto code = static_cast<FailureCode>(port.code);
  const bool ours = !stream.failed;
  if (ours && (code == FailureCode::bandwidth || code == FailureCode::classBandwidth ||
               code == FailureCode::preempted)) {
    text += " (needs " + rateText(stream.need) + ", " + rateText(port.allowed) + " allowed, " +
            rateText(port.inUse) + " reserved)";
  } else if (const char* advice = ours ? remedy(port.code) : nullptr) {
    text += std::string(" (") + advice + ")";
  }
  return text + ", bridge " + octetsText(port.bridgeId);
}

std::string portLine(const Mrp::StreamState& stream, const Mrp::StreamPortState& port) {
  std::string text = port.intf.name() + " ";
  if (port.declared == TalkerKind::none) text += "nothing declared";
  if (port.declared == TalkerKind::failed) text += failureLine(stream, port);
  if (port.declared == TalkerKind::advertise) {
    text += "advertised, latency " + std::to_string(port.latency) + " ns";
  }
  text += std::string("; listener ") + listenerText(port.listener);
  if (port.reserved) text += ", reserved " + rateText(stream.need);
  return text;
}

void print(std::ostream& out, const Mrp::StreamState& stream) {
  const std::string name = "  stream " + octetsText(stream.id) + ": ";
  if (stream.talker) {
    out << name << "talker on " << stream.talker->name();
    if (stream.failed) out << ", failed there";
    if (stream.srClass) out << ", class " << className(*stream.srClass);
    out << "; to the talker: listener " << listenerText(stream.merged) << '\n';
  } else {
    out << name << "no talker\n";
  }
  for (const Platform::IntfId other : stream.otherTalkers) {
    out << name << other.name() << " has another talker of it, which waits\n";
  }
  for (const Mrp::StreamPortState& port : stream.ports)
    out << name << portLine(stream, port) << '\n';
}

void print(std::ostream&, std::monostate) {}

void print(std::ostream& out, const MvrpBridgeState& state) {
  out << "\nBridge\n";
  Table table(std::vector(4, Table::Align::left));
  table.row({"port", "registered", "declared", "contributes"});
  for (const VlanPortState& port : state.ports) {
    table.row({port.port, vlansText(port.registered), vlansText(port.declared),
               vlansText(port.contributes)});
  }
  table.print(out);
}

void print(std::ostream& out, const MsrpBridgeState& state) {
  out << "\nStreams" << (state.streams.empty() ? ": none\n" : "\n");
  for (const Mrp::StreamState& stream : state.streams) print(out, stream);
  out << "\nReservations" << (state.reservations.empty() ? ": none\n" : "\n");
  for (const Mrp::ReservationState& entry : state.reservations) {
    out << "  " << entryText(entry) << '\n';
  }
  for (const Mrp::SlopeState& slope : state.slopes) {
    out << "  " << slope.intf.name() << " class " << className(slope.srClass) << ": "
        << rateText(slope.slope) << '\n';
  }
  out << "\nBoundaries of the domain" << (state.boundaries.empty() ? ": none\n" : "\n");
  for (const Mrp::BoundaryState& boundary : state.boundaries) {
    out << "  " << boundary.intf.name() << " class " << className(boundary.srClass) << '\n';
  }
}

}  // namespace

std::string className(Mrp::SrClass srClass) { return srClass == Mrp::SrClass::a ? "A" : "B"; }

std::string rateText(Mrp::BitsPerSecond rate) {
  constexpr Mrp::BitsPerSecond kMega = 1'000'000;
  std::string digits = std::to_string(rate % kMega + kMega).substr(1);
  digits.erase(digits.find_last_not_of('0') + 1);
  return std::to_string(rate / kMega) + (digits.empty() ? "" : "." + digits) + " Mb/s";
}

std::string entryText(const Mrp::ReservationState& state) {
  std::string text = "VLAN " + std::to_string(state.vlan) + " to " + state.address.stringValue();
  const char* separator = ": ";
  for (const Platform::IntfId intf : state.ports) {
    text += separator + intf.name();
    separator = ", ";
  }
  return state.ports.empty() ? text + ": removed" : text;
}

void printBridge(std::ostream& out, const BridgeState& state) {
  std::visit([&out](const auto& of) { print(out, of); }, state);
}

}  // namespace Cli
