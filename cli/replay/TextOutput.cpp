#include "cli/replay/TextOutput.h"

#include <algorithm>

#include "cli/replay/BridgeText.h"
#include "cli/replay/MrpduText.h"
#include "cli/replay/Table.h"
#include "cli/replay/ValueText.h"

namespace Cli {
namespace {

using Platform::Seconds;

constexpr std::size_t kTimeWidth = 12;
constexpr std::size_t kWhatWidth = 5;

std::string padded(std::string_view text, std::size_t width) {
  return std::string(text) + std::string(width - std::min(width, text.size()), ' ');
}

}  // namespace

TextOutput::TextOutput(std::ostream& out, Mrp::MrpApplication application,
                       const std::vector<std::string>& ports)
    : out_(out), application_(application) {
  for (const std::string& port : ports) portWidth_ = std::max(portWidth_, port.size());
}

void TextOutput::line(Seconds time, std::string_view what, const std::string& port,
                      const std::string& text) {
  const std::string at = timeText(time);
  out_ << std::string(kTimeWidth - std::min(kTimeWidth, at.size()), ' ') << at << "  "
       << padded(what, kWhatWidth) << "  " << padded(port, portWidth_) << "  " << text << '\n';
}

void TextOutput::indication(Seconds time, const Indication& indication) {
  line(time, indication.join ? "join" : "leave", indication.port,
       typeName(application_, indication.type) + " " +
           valueText(application_, indication.type, indication.value) + " (" +
           eventText(indication.event) + ")");
}

void TextOutput::transmitted(Seconds time, const std::string& port, OctetSpan frame) {
  const auto application = applicationOf(frame);
  const std::string title = application ? std::string(infoOf(*application).title) : "frame";
  line(time, "tx", port, title + ", " + std::to_string(frame.size()) + " octets");
  const std::string indent(kTimeWidth + kWhatWidth + portWidth_ + 8, ' ');
  for (const std::string& vector : mrpduText(frame)) out_ << indent << vector << '\n';
}

void TextOutput::logged(Seconds time, std::string_view handle, std::string_view text) {
  line(time, "log", "", std::string(handle) + ": " + std::string(text));
}

void TextOutput::reserved(Seconds time, const Mrp::ReservationState& state) {
  line(time, "entry", "", entryText(state));
}

void TextOutput::sloped(Seconds time, const Mrp::SlopeState& state) {
  line(time, "slope", state.intf.name(),
       "class " + className(state.srClass) + ": " + rateText(state.slope));
}

void TextOutput::bounded(Seconds time, const Mrp::BoundaryState& state, bool on) {
  line(time, "edge", state.intf.name(),
       "class " + className(state.srClass) + (on ? ": boundary of the domain" : ": in the domain"));
}

void TextOutput::finished(Seconds time, const FinalState& state) {
  out_ << "\nAt the end, at " << timeText(time) << " s\n";
  counters(state);
  attributes(state);
  leaveAll(state);
  printBridge(out_, state.bridge);
}

void TextOutput::counters(const FinalState& state) {
  out_ << "\nCounters" << (state.counters.empty() ? ": none in standby\n" : "\n");
  Table table({Table::Align::left, Table::Align::right});
  for (const auto& [name, count] : state.counters) table.row({name, std::to_string(count)});
  if (state.refusedEvents > 0) {
    table.row({"numOfRefusedEvents", std::to_string(state.refusedEvents)});
  }
  table.print(out_);
}

void TextOutput::attributes(const FinalState& state) {
  out_ << "\nAttributes" << (state.attributes.empty() ? ": none\n" : "\n");
  if (state.attributes.empty()) return;
  Table table(std::vector(5, Table::Align::left));
  table.row({"port", "type", "applicant", "registrar", "value"});
  for (const AttributeState& attribute : state.attributes) {
    table.row({attribute.port, typeName(application_, attribute.type),
               stringValue(attribute.applicant), stringValue(attribute.registrar),
               valueText(application_, attribute.type, attribute.value)});
  }
  table.print(out_);
}

void TextOutput::leaveAll(const FinalState& state) {
  using enum Table::Align;
  out_ << "\nLeaveAll timers" << (state.leaveAll.empty() ? ": none\n" : "\n");
  if (state.leaveAll.empty()) return;
  Table table({left, left, right, right});
  table.row({"port", "type", "period", "due at"});
  for (const LeaveAllState& timer : state.leaveAll) {
    table.row({timer.port, typeName(application_, timer.type), timeText(timer.period),
               timer.due ? timeText(*timer.due) : "not pending"});
  }
  table.print(out_);
}

}  // namespace Cli
