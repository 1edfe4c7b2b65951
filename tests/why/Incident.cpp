#include "tests/why/Incident.h"

#include <algorithm>

#include "tests/agent/StreamBridge.h"

namespace WhyTest {

IntfId port(unsigned n) { return IntfId("port" + std::to_string(n)); }

std::string textOf(const Answer& answer) {
  std::string text = answer.state + " [" + answer.cause + "]";
  for (const Why::Step& step : answer.because) {
    text += "\n" + Why::timeName(step.time) + " " + step.port.name() + " " + step.text;
    if (step.frame != 0) text += " #" + std::to_string(step.frame);
    if (step.source) text += " " + step.source->stringValue();
  }
  for (const auto& check : answer.checks) {
    text += "\n" + check.name + (check.passed ? " passed " : " code ") + check.numbers;
  }
  if (!answer.remedy.empty()) text += "\nremedy: " + answer.remedy;
  for (const Why::Coming& coming : answer.next) text += "\nnext: " + coming.text;
  for (const std::string& line : answer.lookedAt) text += "\nlooked at: " + line;
  return text;
}

Incident& Incident::ports(unsigned count) {
  for (unsigned n = 1; n <= count; ++n) inputs.ports.push_back(port(n).name());
  return *this;
}

Incident& Incident::at(double seconds, Cli::Action&& action) {
  action.at = Seconds(seconds);
  action.number = static_cast<std::uint32_t>(inputs.actions.size() + 1);
  inputs.actions.push_back(std::move(action));
  return *this;
}

Incident& Incident::hears(double seconds, unsigned on, const Octets& octets, unsigned from) {
  Octets heard = octets;
  std::ranges::copy(number(neighbour(from), 6), heard.begin() + 6);
  return at(seconds, {{}, Cli::FrameAction{port(on).name(), heard, {}}});
}

Incident& Incident::vlan(double seconds, unsigned on, std::uint16_t id, Event event,
                         unsigned from) {
  return hears(seconds, on, frame(kMvrp, vlans(id, {event})), from);
}

Incident& Incident::leaveAll(double seconds, unsigned on, unsigned from) {
  const bool mvrp = inputs.application == MrpApplication::mvrp;
  const App& app = mvrp ? kMvrp : kMsrp;
  return hears(seconds, on, frame(app, pdu(message(app, 1, leaveAllVec(mvrp ? 2 : 25)))), from);
}

Incident& Incident::role(double seconds, unsigned on, Stp::MstiPortStatus::Role role) {
  return at(
      seconds,
      {{}, Cli::RoleAction{"stp", Stp::kCist, port(on).name(), static_cast<std::uint32_t>(role)}});
}

Incident& Incident::domain(double seconds, unsigned on, std::uint8_t priorityA) {
  const Octets both = vec(EngineTest::domain(5, 2, 2), {JoinIn}) +
                      vec(EngineTest::domain(6, priorityA, 2), {JoinIn});
  return hears(seconds, on, frame(kMsrp, pdu(message(kMsrp, 4, both))), on);
}

Incident& Incident::talker(double seconds, unsigned on, std::uint64_t id, std::uint16_t octets,
                           std::uint8_t rank, Event event) {
  TalkerOf talker;
  talker.id = id;
  talker.octets = octets;
  talker.rank = rank;
  return hears(seconds, on, frame(kMsrp, streams(1, talker.value(), {event})), on);
}

Incident& Incident::talkerFailed(double seconds, unsigned on, std::uint64_t id, std::uint8_t code) {
  TalkerOf talker;
  talker.id = id;
  const Octets value = talker.value() + number(0x8000020000000b01, 8) + number(code, 1);
  return hears(seconds, on, frame(kMsrp, streams(2, value, {New})), on);
}

Incident& Incident::listener(double seconds, unsigned on, std::uint64_t id, Event event) {
  return hears(seconds, on,
               frame(kMsrp, streams(3, EngineTest::stream(id), {event}, false, {ready})), on);
}

Incident& Incident::rate(double seconds, unsigned on, std::uint64_t bitsPerSecond) {
  Cli::BridgePortAction action;
  action.port = port(on).name();
  action.rate = bitsPerSecond;
  return at(seconds, {{}, std::move(action)});
}

Incident& Incident::until(double seconds) {
  options.until = Seconds(seconds);
  return *this;
}

const Cli::ReplaySession& Incident::session() {
  if (session_) return *session_;
  options.records = 65536;
  session_ = std::make_unique<Cli::ReplaySession>(inputs, options, std::span<Cli::Output* const>());
  session_->run();
  return *session_;
}

namespace {

// The answer about one thing; a test fails on an empty one.
Answer only(const std::vector<Answer>& answers, std::string_view about) {
  const auto found = std::ranges::find(answers, about, &Answer::about);
  return found == answers.end() ? Answer() : *found;
}

}  // namespace

Answer Incident::registration(unsigned on, std::uint16_t id) {
  const Why::Sources sources = session().sources();
  return only(whyVlan(sources, id, port(on)), "registration");
}

Answer Incident::declaration(unsigned on, std::uint16_t id) {
  const Why::Sources sources = session().sources();
  return only(whyVlan(sources, id, port(on)), "declaration");
}

Answer Incident::stream(unsigned on, std::uint64_t id) {
  const Why::Sources sources = session().sources();
  return only(whyStream(sources, id, port(on)), "stream");
}

Answer Incident::domainOf(unsigned on, std::uint8_t srClass) {
  const Why::Sources sources = session().sources();
  return only(whyDomain(sources, srClass, port(on)), "domain");
}

}  // namespace WhyTest
