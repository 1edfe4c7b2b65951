// Records in words.

#include <array>
#include <string_view>

#include "agent/why/Story.h"
#include "agent/why/Words.h"
#include "platform/stp/StpStatus.h"

namespace Mrp::Why {
namespace {

using namespace Accounts;
using Reason = MrpObserver::Reason;

std::string untilText(const Names& names, const Record& record) {
  if (record.detail == 0) return {};
  return "; leave timer until " + names.clock(record.due());
}

std::string registrarText(const Names& names, const Record& r) {
  const auto event = static_cast<MrpRegistrarEvent>(r.event);
  const auto to = static_cast<MrpRegistrarState>(r.to());
  const bool again = static_cast<MrpRegistrarState>(r.from()) == MrpRegistrarState::lv;
  switch (event) {
    case MrpRegistrarEvent::rNew:
      return again ? "declared again: New received" : "registered: New received";
    case MrpRegistrarEvent::rJoinIn:
      return again ? "declared again: JoinIn received" : "registered: JoinIn received";
    case MrpRegistrarEvent::rJoinMt:
      return again ? "declared again: JoinMt received" : "registered: JoinMt received";
    case MrpRegistrarEvent::rLv:
      return "withdrawn by the neighbour: Lv received" + untilText(names, r);
    case MrpRegistrarEvent::regLvAll_:
      return "in doubt: LeaveAll received" + untilText(names, r);
    case MrpRegistrarEvent::txLvAll:
      return "in doubt: a LeaveAll of our own" + untilText(names, r);
    case MrpRegistrarEvent::reDeclare:
      return "in doubt: the port's role changed, and it forwards again" + untilText(names, r);
    case MrpRegistrarEvent::flush:
      return "no longer registered: flushed, since the port stopped forwarding";
    case MrpRegistrarEvent::leaveTimer:
      return "no longer registered: the leave time was over and no Join had come";
    case MrpRegistrarEvent::none:
      break;
  }
  return to == MrpRegistrarState::mt ? "no longer registered" : "registered";
}

std::string applicantText(const Record& r) {
  const bool was = declares(static_cast<MrpApplicantState>(r.from()));
  const bool is = declares(static_cast<MrpApplicantState>(r.to()));
  const auto event = static_cast<MrpApplicantEvent>(r.event);
  if (is && !was) {
    return event == MrpApplicantEvent::newRequest ? "declared: New sent" : "declared: Join sent";
  }
  if (was && !is) return "withdrawn: Lv sent";
  return std::string("declaration ") + stringValue(static_cast<MrpApplicantState>(r.from())) +
         " to " + stringValue(static_cast<MrpApplicantState>(r.to()));
}

std::string discardText(const Record& r) {
  switch (static_cast<Reason>(r.event)) {
    case Reason::joinDiscarded:
      return "not taken: the application refused the Join";
    case Reason::attributeLimit:
      return "not taken: the port has as many of them as its limit allows";
    case Reason::outOfMemory:
      return "not taken: out of memory";
    case Reason::portClosed:
      return "not taken: the port closed during the frame";
    case Reason::recycled:
      return "not taken: frames are passed on as they are, or injected anew";
    case Reason::malformed:
      return "the frame is malformed: what followed in it was dropped";
    case Reason::version:
      return "a PDU of another version: read as far as it can be";
    case Reason::unknownAttributeType:
      return "an attribute type that is not known was skipped";
    default:
      return std::string("not acted on: ") +
             Mrp::stringValue(static_cast<MrpObserver::Reason>(r.event));
  }
}

std::string portText(const Record& r) {
  static constexpr std::array texts{
      "the port was added",   "the port was removed, with all that was registered there",
      "the port was enabled", "the port was disabled",
      "the port came up",     "the port went down, with all that was registered there"};
  return r.event < texts.size() ? texts[r.event] : "the port changed";
}

std::string roleText(const Record& r) {
  if (r.event == kUntoldRole) return "the port's spanning-tree role changed";
  static constexpr std::array names{"none",      "root",   "designated",
                                    "alternate", "backup", "disabled"};
  const std::string name = r.event < names.size() ? names[r.event] : std::to_string(r.event);
  const auto role = static_cast<Stp::Role>(r.event);
  const bool forwards = role == Stp::Role::root || role == Stp::Role::designated;
  return "the port's spanning-tree role became " + name +
         (forwards ? ": it forwards" : ": it does not forward");
}

std::string requestText(const Record& r, const std::string& who) {
  static constexpr std::array verbs{"declared",
                                    "withdrawn",
                                    "registration set to normal",
                                    "registration fixed",
                                    "forbidden",
                                    "LeaveAll asked for",
                                    "dropped",
                                    "taken up from an earlier life"};
  const std::string verb = r.event < verbs.size() ? verbs[r.event] : "requested";
  return verb + " by " + who;
}

std::string decisionText(const Record& r) {
  switch (static_cast<TalkerKind>(r.to())) {
    case TalkerKind::advertise:
      return "decided: advertised";
    case TalkerKind::failed: {
      const char* name = failureText(r.event);
      return "decided: failed with code " + std::to_string(r.event) +
             (name ? std::string(", ") + name : std::string());
    }
    case TalkerKind::none:
      break;
  }
  return "decided: not declared";
}

std::string listenerText(const Record& r) {
  static constexpr std::array names{"withdrawn", "asking failed", "ready", "ready failed"};
  return std::string("listener declared to the talker: ") + names[r.event & 3];
}

}  // namespace

std::string timeName(Seconds time) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const std::int64_t ns = time.nanoseconds();
  std::string parts = std::to_string(kSecond + ns % kSecond).substr(1);
  if (ns % 1000 == 0) parts.resize(6);
  return std::to_string(ns / kSecond) + "." + parts;
}

std::string Sources::clockText(Seconds time) const { return clock ? clock(time) : timeName(time); }

std::string streamName(std::uint64_t stream) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string name = Platform::EthAddr::fromNumber(stream >> 16).stringValue() + ":";
  for (int shift = 12; shift >= 0; shift -= 4) name += kDigits[stream >> shift & 15];
  return name;
}

namespace {

std::string whoAsked(const Names& names, const Record& r) {
  const bool line = r.place() != kNobody;
  const std::string place = std::to_string(r.place());
  switch (r.by()) {
    case By::application:
      return "the application";
    case By::configuration:
      return "the configuration";
    case By::scenario:
      return line ? "line " + place + " of the scenario" : "the scenario";
    case By::command:
      break;
  }
  if (r.user() == kNobody) return "a command";
  return "a command of " + names.user(r.user()) + (line ? " (process " + place + ")" : "");
}

}  // namespace

std::string wordsOf(const Record& r, const Names& names) {
  switch (r.kind) {
    case Kind::frameReceived:
      return "frame received, " + std::to_string(r.length()) + " octets";
    case Kind::frameSent:
      return "frame sent, " + std::to_string(r.length()) + " octets";
    case Kind::leaveAllReceived:
      return "LeaveAll received";
    case Kind::leaveAllSent:
      return "LeaveAll sent";
    case Kind::applicant:
      return applicantText(r);
    case Kind::registrar:
      return registrarText(names, r);
    case Kind::discard:
      return discardText(r);
    case Kind::timerArmed:
      return "timer started, due at " + names.clock(r.due());
    case Kind::timerFired:
      return r.type == 0 ? "our own LeaveAll was due" : "the leave timer expired";
    case Kind::timerStopped:
      return "timer stopped";
    case Kind::committed:
      return r.event ? "published" : "no longer published";
    case Kind::request:
      return requestText(r, whoAsked(names, r));
    case Kind::role:
      return roleText(r);
    case Kind::port:
      return portText(r);
    case Kind::activation:
      return "the engine went to work";
    case Kind::setting:
      if (static_cast<Setting>(r.event) == Setting::portEnabled) {
        return std::string("the port was ") + (r.key ? "enabled by " : "disabled by ") +
               whoAsked(names, r);
      }
      return "a setting was changed by " + whoAsked(names, r);
    case Kind::contribution:
      return std::string(r.event ? "passed on from " : "no longer passed on from ") +
             names.port(r.detail).name();
    case Kind::propagation:
      return r.event ? "to be declared: another port has it"
                     : "to be withdrawn: no other port has it";
    case Kind::decision:
      return decisionText(r);
    case Kind::figures:
      return Streams::rateName(r.detail) + " of " + Streams::rateName(r.key) + " in use";
    case Kind::reservation:
      return r.event ? "reserved" : "no longer reserved";
    case Kind::listener:
      return listenerText(r);
    case Kind::recovery:
      return "the time for which a changed talker fails was over";
    case Kind::none:
      break;
  }
  return "something that has no name";
}

namespace {

Names namesOf(const Sources& sources) {
  Names names;
  if (sources.clock) names.clock = sources.clock;
  if (sources.userName) names.user = sources.userName;
  names.port = [&sources](std::uint64_t number) { return sources.account.portNumbered(number); };
  return names;
}

}  // namespace

Step Story::stepOf(const Sources& sources, const Record& record) {
  Step step;
  step.record = record.number;
  step.time = record.at();
  const bool elsewhere = record.kind == Kind::contribution;
  step.port =
      elsewhere ? sources.account.portNumbered(record.detail) : sources.account.port(record);
  step.text = wordsOf(record, namesOf(sources));
  const Record* r = &record;
  if (r->kind == Kind::registrar || r->kind == Kind::discard || r->kind == Kind::applicant ||
      r->kind == Kind::contribution) {
    r = sources.account.record(r->cause());
  }
  if (r && r->kind == Kind::leaveAllReceived) r = sources.account.record(r->cause());
  if (r && r->kind == Kind::frameReceived) {
    step.frame = r->key;
    step.source = r->source();
  }
  if (record.kind == Kind::request || record.kind == Kind::setting) {
    step.by = record.by();
    step.user = record.user();
    step.place = record.place();
  }
  return step;
}

namespace {

bool ofStream(const Sources& sources, const Record& r) {
  return sources.engine.inputs().mrpLib->application() == MrpApplication::msrp &&
         (r.kind == Kind::registrar || r.kind == Kind::applicant || r.kind == Kind::discard) &&
         r.type != 0;
}

// Whose record it is, in an answer about another attribute.
std::string attributeText(const Record& r, std::uint64_t stream) {
  static constexpr std::array names{"", "its talker ", "its failed talker ", "its listener "};
  static constexpr std::array others{"", "the talker of ", "the failed talker of ",
                                     "the listener of "};
  if (r.type >= names.size()) {
    const bool b = r.key == static_cast<std::uint64_t>(SrClass::b);
    const bool a = r.key == static_cast<std::uint64_t>(SrClass::a);
    return "the domain of class " + (a ? "A" : b ? "B" : std::to_string(r.key)) + " ";
  }
  if (r.key == stream) return names[r.type];
  return others[r.type] + streamName(r.key) + " ";
}

}  // namespace

// What is said with the step before it is no step of its own: the frame that carried an event, the
// timer whose end it was.
void Story::tell(const Sources& sources, Number number, Answer& answer) {
  const Reader reader(sources.account);
  const Reader::Chain chain = reader.causes(number);
  answer.ending = chain.ending;
  for (const Record& r : chain.records) {
    const bool first = answer.because.empty();
    if (!first && (r.kind == Kind::frameReceived || r.kind == Kind::leaveAllReceived)) continue;
    if (!first && r.kind == Kind::timerFired && r.type != 0) continue;
    if (r.kind == Kind::propagation || r.kind == Kind::leaveAllSent) continue;
    const Record* cause = sources.account.record(r.cause());
    if (r.kind == Kind::contribution && cause && cause->kind == Kind::registrar) continue;
    if (r.kind == Kind::timerArmed) {
      answer.ending = Reader::Ending::firstCause;
      break;
    }
    answer.because.push_back(stepOf(sources, r));
    Step& step = answer.because.back();
    if (r.kind == Kind::contribution && cause && cause->kind == Kind::frameReceived) {
      step.text = "received with another value";
      step.text.insert(0, attributeText(r, chain.records.front().key));
      continue;
    }
    // A Join that was refused has registered nothing.
    constexpr std::string_view kRegistered = "registered: ";
    if (chain.records.front().kind == Kind::discard && step.text.starts_with(kRegistered)) {
      step.text.erase(0, kRegistered.size());
    }
    if (ofStream(sources, r) && r.number != number) {
      step.text = attributeText(r, chain.records.front().key) + step.text;
    }
  }
}

}  // namespace Mrp::Why
