// The questions.

#include <algorithm>

#include "agent/why/Story.h"
#include "mrp/types/MrpStatus.h"

namespace Mrp::Why {
namespace {

using namespace Accounts;

std::vector<IntfId> portsOf(const Sources& sources, IntfId only) {
  return only.empty() ? sources.ports : std::vector<IntfId>{only};
}

std::string classLetter(std::uint8_t srClass) {
  if (srClass == static_cast<std::uint8_t>(SrClass::a)) return "A";
  if (srClass == static_cast<std::uint8_t>(SrClass::b)) return "B";
  return std::to_string(srClass);
}

// Registrations and declarations of one attribute, port by port.
void attributesInto(const Sources& sources, const Noun& noun, std::uint8_t type, std::uint64_t key,
                    IntfId port, std::vector<Answer>& answers) {
  for (const IntfId intf : portsOf(sources, port)) {
    const Story story(sources, {intf, type, key}, noun);
    if (!story.known()) continue;
    Answer registration = story.registration();
    Answer declaration = story.declaration();
    const bool declaredAlone = declaration.known && registration.cause == "never-declared";
    // What is declared there, and why, is what is known of it.
    if (declaredAlone) {
      registration.lookedAt.clear();
      registration.next.clear();
      answers.push_back(std::move(declaration));
      answers.push_back(std::move(registration));
      continue;
    }
    answers.push_back(std::move(registration));
    if (declaration.known) answers.push_back(std::move(declaration));
  }
}

}  // namespace

std::vector<Answer> whyVlan(const Sources& sources, std::uint16_t vlan, IntfId port) {
  std::vector<Answer> answers;
  const std::string name = "VLAN " + std::to_string(vlan);
  const Noun noun{name, name, "VLANs"};
  attributesInto(sources, noun, static_cast<std::uint8_t>(MvrpAttrType::vlan), vlan, port, answers);
  if (!answers.empty()) return answers;
  const Story story(sources, {port, static_cast<std::uint8_t>(MvrpAttrType::vlan), vlan}, noun);
  const bool there = std::ranges::find(sources.ports, port) != sources.ports.end();
  answers.push_back(there ? story.registration() : story.nothing());
  if (there && answers.back().cause == "never-declared") answers.back().known = false;
  return answers;
}

// --- Streams -------------------------------------------------------------------------------------

namespace {

// A port of a bridge of streams, that is not the talker's.
Answer streamOn(const Sources& sources, const StreamState& state, const StreamPortState& port) {
  const std::string name = "stream " + streamName(state.id);
  Answer answer{.about = "stream", .subject = name, .port = port.intf};
  answer.known = true;
  Streams::Explanation explanation = sources.streams->explain(state.id, port.intf);
  answer.checks = std::move(explanation.steps);
  answer.remedy = std::move(explanation.remedy);
  const std::string on = " on " + port.intf.name();
  std::string listener;
  switch (port.listener) {
    case MsrpListenerEvent::ready:
      listener = "a listener is ready there";
      break;
    case MsrpListenerEvent::readyFailed:
      listener = "listeners there are ready, some fail behind it";
      break;
    case MsrpListenerEvent::askingFailed:
      listener = "a listener there asks and fails";
      break;
    case MsrpListenerEvent::ignore:
      listener = "no listener there";
      break;
  }
  const std::string subject = "S" + name.substr(1);
  switch (port.declared) {
    case TalkerKind::none:
      answer.state = subject + " is not declared" + on + ": " + explanation.nothing + ".";
      answer.cause = "not-declared";
      break;
    case TalkerKind::advertise:
      answer.state = subject + (port.reserved ? " is reserved" : " is advertised") + on + "; " +
                     listener + ".";
      answer.cause = port.reserved ? "reserved" : "advertised";
      break;
    case TalkerKind::failed: {
      const char* text = failureText(port.code);
      answer.state =
          subject + " fails" + on + " with code " + std::to_string(port.code) +
          (text ? std::string(", ") + text : std::string()) +
          (state.failed ? " (received so from bridge " + Streams::bridgeName(port.bridgeId) + ")"
                        : std::string()) +
          "; " + listener + ".";
      answer.cause = (state.failed ? "upstream-code-" : "code-") + std::to_string(port.code);
      break;
    }
  }
  const Record* decided = sources.account.newest(
      {port.intf, 0, state.id}, sources.account.last() + 1,
      [](const Record& r) { return r.kind == Kind::decision || r.kind == Kind::reservation; });
  if (decided) {
    Story::tell(sources, decided->number, answer);
  } else {
    answer.ending = Reader::Ending::overwritten;
  }
  return answer;
}

Answer talkerOf(const Sources& sources, const StreamState& state) {
  const std::string name = "stream " + streamName(state.id);
  const std::uint8_t type = state.failed ? 2 : 1;
  const Noun noun{name,
                  std::string(state.failed ? "Talker Failed" : "Talker Advertise") + " of " + name,
                  "talkers"};
  Answer answer = Story(sources, {*state.talker, type, state.id}, noun).registration();
  answer.about = "talker";
  return answer;
}

const std::array<Noun, 4> nounsOf(const std::string& name) {
  return {Noun{name, "Talker Advertise of " + name, "talkers"},
          Noun{name, "Talker Failed of " + name, "talkers"},
          Noun{name, "Listener of " + name, "listeners"}, Noun{}};
}

}  // namespace

std::vector<Answer> whyStream(const Sources& sources, std::uint64_t stream, IntfId port) {
  std::vector<Answer> answers;
  const std::string name = "stream " + streamName(stream);
  const auto state = sources.streams ? sources.streams->stream(stream) : std::nullopt;
  if (state) {
    for (const StreamPortState& on : state->ports) {
      if (port.empty() || on.intf == port) answers.push_back(streamOn(sources, *state, on));
    }
    if (state->talker && (port.empty() || *state->talker == port)) {
      answers.push_back(talkerOf(sources, *state));
    }
    if (!answers.empty()) return answers;
  }
  const auto nouns = nounsOf(name);
  for (std::uint8_t type = 1; type <= 3; ++type) {
    attributesInto(sources, nouns[type - 1u], type, stream, port, answers);
  }
  if (answers.empty())
    answers.push_back(
        Story(sources, {port, 1, stream}, nouns[3].name.empty() ? Noun{name, name, ""} : nouns[3])
            .nothing());
  return answers;
}

// --- Domains -------------------------------------------------------------------------------------

namespace {

Answer domainOn(const Sources& sources, std::uint8_t srClass, IntfId intf,
                const Streams::DomainState& domain) {
  const std::string letter = classLetter(srClass);
  const std::string priority = std::to_string(domain.priority);
  const Noun noun{"class " + letter, "the domain of class " + letter, "domains"};
  const std::uint8_t type = static_cast<std::uint8_t>(MsrpAttrType::domain);
  Answer answer = Story(sources, {intf, type, srClass}, noun).registration();
  answer.about = "domain";
  answer.known = true;
  const std::string on = intf.name() + " is ";
  // What the neighbour says now, which a repeated declaration may have changed.
  const Record* said = sources.account.newest(
      {IntfId(), type, srClass}, sources.account.last() + 1,
      [intf](const Record& r) { return r.kind == Kind::contribution && r.detail == intf.value(); });
  if (said && said->event && domain.theirs) {
    answer.because.clear();
    Story::tell(sources, said->number, answer);
  }
  if (!domain.open) {
    answer.state = on + "a boundary of class " + letter + ": the port is down or disabled.";
    answer.cause = "port-closed";
  } else if (!domain.capable) {
    answer.state = on + "a boundary of class " + letter + ": the port is not capable of streams.";
    answer.cause = "not-capable";
    answer.remedy = "make " + intf.name() +
                    " capable of streams: full duplex, 100 Mb/s or more, synchronised time";
  } else if (!domain.theirs) {
    answer.state =
        on + "a boundary of class " + letter + ": its neighbour declares no domain of that class.";
    if (answer.cause == "never-declared") answer.cause = "no-domain";
    answer.remedy = "let the neighbour of " + intf.name() + " run MSRP and declare class " +
                    letter + " priority " + priority;
  } else if (*domain.theirs != domain.priority) {
    answer.state = on + "a boundary of class " + letter + ": ours has priority " + priority +
                   ", its neighbour says " + std::to_string(*domain.theirs) + ".";
    answer.cause = "priority-mismatch";
    answer.remedy = "declare class " + letter + " priority " + priority + " on the neighbour of " +
                    intf.name() + ": it says " + std::to_string(*domain.theirs);
  } else {
    answer.state =
        on + "inside the domain of class " + letter + ": both sides say priority " + priority + ".";
    answer.cause = "inside";
  }
  return answer;
}

}  // namespace

std::vector<Answer> whyDomain(const Sources& sources, std::uint8_t srClass, IntfId port) {
  std::vector<Answer> answers;
  const auto known = srClassNumbered(srClass);
  if (sources.streams && known) {
    for (const IntfId intf : portsOf(sources, port)) {
      const auto domain = sources.streams->domain(intf, *known);
      if (domain) answers.push_back(domainOn(sources, srClass, intf, *domain));
    }
  }
  const Noun noun{"class " + classLetter(srClass), "the domain of class " + classLetter(srClass),
                  "domains"};
  const std::uint8_t type = static_cast<std::uint8_t>(MsrpAttrType::domain);
  if (answers.empty()) attributesInto(sources, noun, type, srClass, port, answers);
  if (answers.empty()) answers.push_back(Story(sources, {port, type, srClass}, noun).nothing());
  return answers;
}

}  // namespace Mrp::Why
