#include "agent/account/Account.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace Mrp::Accounts {
namespace {

// Causes are recent: what else happened to an attribute meanwhile is a handful of records.
constexpr std::size_t kRecent = 64;
// Of the index: records a slot, and the fewest slots.
constexpr std::size_t kShare = 4;
constexpr std::size_t kFewestSlots = 16;

template <class Enum>
constexpr std::uint8_t octet(Enum value) {
  return static_cast<std::uint8_t>(value);
}
constexpr std::uint8_t states(unsigned from, unsigned to) {
  return static_cast<std::uint8_t>((from & 15) | to << 4);
}
constexpr std::uint64_t requesterOf(const Account::Requester& by) {
  return std::uint64_t{by.user} << 32 | by.place;
}

constexpr bool is(const Record& record, Kind kind) { return record.kind == kind; }

}  // namespace

const char* stringValue(Kind kind) {
  static constexpr std::array names{
      "none",          "frame received", "frame sent",    "LeaveAll received",
      "LeaveAll sent", "applicant",      "registrar",     "discard",
      "timer armed",   "timer fired",    "timer stopped", "committed",
      "request",       "role",           "port",          "activation",
      "setting",       "contribution",   "propagation",   "decision",
      "figures",       "reservation",    "listener",      "recovery"};
  const auto number = static_cast<std::size_t>(kind);
  return number < names.size() ? names[number] : "unknown";
}

Account::Account(const Platform::Clock& clock, std::size_t capacity)
    : clock_(clock),
      capacity_(std::min<std::size_t>(capacity, std::numeric_limits<std::uint32_t>::max())) {
  if (capacity_ == 0) return;
  ring_ = std::make_unique_for_overwrite<Record[]>(capacity_);
  const std::size_t slots = std::bit_ceil(std::max(capacity_ / kShare, kFewestSlots));
  heads_ = std::make_unique<std::uint32_t[]>(slots);
  mask_ = slots - 1;
}

Account::~Account() = default;

// --- The ring ------------------------------------------------------------------------------------

Number Account::add(const MrpAttribute& attribute, const Fact& fact) {
  return capacity_ == 0 ? 0 : next(attribute, fact).number;
}

Number Account::addAbout(const MrpAttribute& attribute, const Fact& fact) {
  return capacity_ == 0 ? 0 : nextAbout(attribute, fact);
}

void Account::portIs(IntfId intf) {
  const auto port = static_cast<std::size_t>(intf.value());
  if (port >= ports_.size()) ports_.resize(port + 1);
  ports_[port] = intf;
}

template <class Wanted>
Number Account::recent(const MrpAttribute& attribute, Wanted wanted) const {
  const Record* found = walkChain(attribute, last_ + 1, kRecent, wanted);
  return found ? found->number : 0;
}

// --- Told by the caller --------------------------------------------------------------------------

Number Account::request(Verb verb, const MrpAttribute& attribute, const Requester& by) {
  return addAbout(attribute, {.kind = Kind::request,
                              .event = octet(verb),
                              .states = states(0, octet(by.by)),
                              .detail = requesterOf(by),
                              .cause = because_});
}

Number Account::role(IntfId intf, std::uint8_t role) {
  return add({intf, 0, 0}, {.kind = Kind::role, .event = role, .cause = because_});
}

Number Account::portChanged(IntfId intf, PortChange change) {
  return add({intf, 0, 0}, {.kind = Kind::port, .event = octet(change), .cause = because_});
}

Number Account::activated() { return add({}, {.kind = Kind::activation, .cause = because_}); }

Number Account::setting(Setting setting, IntfId intf, std::uint64_t value, const Requester& by) {
  return add({intf, 0, value}, {.kind = Kind::setting,
                                .event = octet(setting),
                                .states = states(0, octet(by.by)),
                                .detail = requesterOf(by),
                                .cause = because_});
}

// What a port contributes changes by its registration, which the application hears of as soon as it
// is recorded; else by what the caller does.
Number Account::contribution(const MrpAttribute& attribute, bool contributes, bool inFrame) {
  const Record* newest = record(last_);
  const auto intf = static_cast<std::uint32_t>(attribute.intfId.value());
  const bool indicated = newest && is(*newest, Kind::registrar) &&
                         newest->of(intf, attribute.attributeType, attribute.attributeKey);
  return addAbout({IntfId(), attribute.attributeType, attribute.attributeKey},
                  {.kind = Kind::contribution,
                   .event = contributes,
                   .detail = attribute.intfId.value(),
                   .cause = indicated ? newest->number
                            : inFrame ? std::max(ofFrame(attribute.intfId), because_)
                                      : because_});
}

// Of what is passed on and what the caller does, the later one.
Number Account::propagation(const MrpAttribute& attribute, bool declares) {
  const std::uint64_t own = attribute.intfId.value();
  const Number passedOn =
      recent({IntfId(), attribute.attributeType, attribute.attributeKey},
             [own](const Record& r) { return is(r, Kind::contribution) && r.detail != own; });
  return addAbout(
      attribute,
      {.kind = Kind::propagation, .event = declares, .cause = std::max(passedOn, because_)});
}

// Decisions are made for many streams at once. What has come of the stream itself since the first
// input is its cause; else that input, by which another stream has made or taken room.
Number Account::ofInputs(std::uint64_t stream) const {
  Number cause = because_;
  constexpr std::uint8_t kStreamTypes = 3;
  for (std::uint8_t type = 1; type <= kStreamTypes; ++type) {
    cause = std::max(cause, recent({IntfId(), type, stream},
                                   [](const Record& r) { return is(r, Kind::contribution); }));
  }
  cause = std::max(
      cause, recent({IntfId(), 0, stream}, [](const Record& r) { return is(r, Kind::recovery); }));
  return because_ == 0 ? 0 : cause;
}

Number Account::decision(const Decision& decision) {
  const MrpAttribute& stream = decision.stream;
  const Number number = addAbout(stream, {.kind = Kind::decision,
                                          .event = decision.code,
                                          .states = states(decision.before, decision.now),
                                          .detail = decision.need,
                                          .cause = ofInputs(stream.attributeKey)});
  if (number != 0 && decision.allowed != 0) {
    add({stream.intfId, 0, decision.allowed},
        {.kind = Kind::figures, .detail = decision.inUse, .cause = number});
  }
  return number;
}

Number Account::reservation(IntfId intf, std::uint64_t stream, bool opened) {
  const MrpAttribute attribute{intf, 0, stream};
  const Record* before =
      record(recent(attribute, [](const Record& r) { return is(r, Kind::reservation); }));
  if ((before && before->event) == opened) return 0;
  return addAbout(attribute,
                  {.kind = Kind::reservation, .event = opened, .cause = ofInputs(stream)});
}

Number Account::listener(IntfId intf, std::uint64_t stream, std::uint8_t declared) {
  return addAbout({intf, 0, stream},
                  {.kind = Kind::listener, .event = declared, .cause = ofInputs(stream)});
}

Number Account::recovered(std::uint64_t stream) {
  return addAbout({IntfId(), 0, stream}, {.kind = Kind::recovery});
}

Number Account::decided(IntfId intf, std::uint64_t stream) const {
  return recent({intf, 0, stream},
                [](const Record& r) { return is(r, Kind::decision) || is(r, Kind::listener); });
}

// --- Told by the engine --------------------------------------------------------------------------

Account::Outgoing& Account::outgoing(IntfId intf) {
  const auto port = static_cast<std::size_t>(intf.value());
  if (port >= outgoing_.size()) outgoing_.resize(port + 1);
  return outgoing_[port];
}

void Account::frame(const Frame& frame) {
  if (capacity_ == 0) return;
  flushStarted();
  const bool received = frame.direction == Direction::received;
  const std::uint64_t length = std::min<std::size_t>(frame.octets.size(), 0xFFFF);
  Fact fact{.kind = received ? Kind::frameReceived : Kind::frameSent,
            .detail = frame.source.number() << 16 | length};
  if (!received) {
    Outgoing& out = outgoing(frame.intf);
    out.sent = true;
    fact.cause = out.cause;
    add({frame.intf, 0, ++sent_}, fact);
    return;
  }
  frame_ = {frame.intf, add({frame.intf, 0, ++received_}, fact)};
  leaveAll_ = {};
  untoldRole_ = {};
}

// Events that are received show in the transitions they cause. Those that are sent come before the
// transition that sends them, which tells why.
void Account::eventOfNote(const Event& event) {
  if (capacity_ == 0) return;
  const MrpAttribute& attribute = event.attribute;
  if (event.direction == Direction::sent) {
    if (event.leaveAll) {
      const Number number =
          add({attribute.intfId, attribute.attributeType, 0},
              {.kind = Kind::leaveAllSent, .cause = ofOwnLeaveAll(attribute.intfId)});
      declared(attribute, number);
    } else {
      encoded_ = attribute;
    }
    return;
  }
  const Number number = add({attribute.intfId, attribute.attributeType, 0},
                            {.kind = Kind::leaveAllReceived, .cause = ofFrame(attribute.intfId)});
  leaveAll_[attribute.attributeType % leaveAll_.size()] = number;
}

// The first of what a frame carries is why it is sent.
void Account::declared(const MrpAttribute& attribute, Number cause) {
  Outgoing& out = outgoing(attribute.intfId);
  if (out.cause != 0 && !out.sent) return;
  out = {cause, false};
}

void Account::transitionOfNote(const Transition& transition) {
  if (capacity_ == 0) return;
  const MrpAttribute& attribute = transition.attribute;
  const bool registrar = transition.machine == Machine::registrar;
  if (started_ && !(registrar && started_->attribute == attribute)) flushStarted();
  const bool sent = !registrar && encoded_ && *encoded_ == attribute;
  const bool recorded = transition.from != transition.to || started_;
  if (!recorded && !sent) return;
  Number number = causeOf(transition);
  if (recorded) {
    number =
        nextAbout(attribute,
                  {.kind = registrar ? Kind::registrar : Kind::applicant,
                   .event = transition.event,
                   .states = states(transition.from, transition.to),
                   .detail = started_ ? std::uint64_t(std::max<std::int64_t>(started_->due, 1)) : 0,
                   .cause = number});
    started_.reset();
  }
  if (sent) {
    encoded_.reset();
    declared(attribute, number);
  }
}

// A timer that no transition started.
void Account::flushStarted() {
  if (!started_) return;
  const Started started = *started_;
  started_.reset();
  addAbout(started.attribute, {.kind = Kind::timerArmed,
                               .event = octet(started.kind),
                               .detail = static_cast<std::uint64_t>(started.due),
                               .cause = because_});
}

// The event says what kind of thing made the machine move.
Number Account::causeOf(const Transition& transition) {
  const MrpAttribute& attribute = transition.attribute;
  if (transition.machine == Machine::registrar) {
    switch (static_cast<MrpRegistrarEvent>(transition.event)) {
      case MrpRegistrarEvent::rNew:
      case MrpRegistrarEvent::rJoinIn:
      case MrpRegistrarEvent::rJoinMt:
      case MrpRegistrarEvent::rLv:
        return ofFrame(attribute.intfId);
      case MrpRegistrarEvent::regLvAll_:
        return ofLeaveAll(attribute.intfId, attribute.attributeType);
      case MrpRegistrarEvent::txLvAll:
        return ofOwnLeaveAll(attribute.intfId);
      case MrpRegistrarEvent::reDeclare:
      case MrpRegistrarEvent::flush:
        return ofRole(transition);
      case MrpRegistrarEvent::leaveTimer:
        return recent(attribute, [](const Record& r) { return is(r, Kind::timerFired); });
      case MrpRegistrarEvent::none:
        return 0;
    }
    return 0;
  }
  switch (static_cast<MrpApplicantEvent>(transition.event)) {
    case MrpApplicantEvent::newRequest:
    case MrpApplicantEvent::join:
    case MrpApplicantEvent::leave:
      return ofRequest(transition);
    case MrpApplicantEvent::reDeclare:
    case MrpApplicantEvent::flush:
      return ofRole(transition);
    case MrpApplicantEvent::rNew:
    case MrpApplicantEvent::rJoinIn:
    case MrpApplicantEvent::rIn:
    case MrpApplicantEvent::rJoinMt:
    case MrpApplicantEvent::rMt:
    case MrpApplicantEvent::rLv:
      return ofFrame(attribute.intfId);
    case MrpApplicantEvent::rxLvAll_:
      return ofLeaveAll(attribute.intfId, attribute.attributeType);
    case MrpApplicantEvent::txLvAll:
      return ofOwnLeaveAll(attribute.intfId);
    case MrpApplicantEvent::none:
      return 0;
  }
  return 0;
}

Number Account::ofLeaveAll(IntfId intf, std::uint8_t type) const {
  const Number carried = leaveAll_[type % leaveAll_.size()];
  return carried != 0 && frame_.intf == intf ? carried : ofFrame(intf);
}

// The port's timer while it is served, unless somebody asks for one from inside that.
Number Account::ofOwnLeaveAll(IntfId intf) const {
  const Number timer = leaveAllTimer_.intf == intf ? leaveAllTimer_.number : 0;
  return std::max(timer, because_);
}

// A role that nobody told of: one change has many transitions, and one record.
Number Account::ofRole(const Transition& transition) {
  const Record* told = record(because_);
  if (told && is(*told, Kind::role)) return because_;
  const IntfId intf = transition.attribute.intfId;
  if (untoldRole_.number == 0 || untoldRole_.intf != intf || untoldRoleEvent_ != transition.event) {
    untoldRole_ = {intf, role(intf, kUntoldRole)};
    untoldRoleEvent_ = transition.event;
  }
  return untoldRole_.number;
}

Number Account::ofRequest(const Transition& transition) {
  if (because_ != 0) return because_;
  const bool leaves = transition.event == octet(MrpApplicantEvent::leave);
  return request(leaves ? Verb::withdraw : Verb::declare, transition.attribute, {});
}

void Account::discard(const Discard& discard) {
  if (capacity_ == 0) return;
  flushStarted();
  const MrpAttribute& attribute = discard.attribute;
  Number cause = 0;
  switch (discard.reason) {
    case Reason::joinDiscarded:
      cause = recent(attribute, [](const Record& r) { return is(r, Kind::registrar); });
      break;
    case Reason::noEndpoint:
    case Reason::noPacket:
    case Reason::suppressed:
      cause = because_;
      break;
    case Reason::standby:
      break;
    default:
      cause = std::max(ofFrame(attribute.intfId), because_);
  }
  const Fact fact{.kind = Kind::discard, .event = octet(discard.reason), .cause = cause};
  attribute.attributeType == 0 ? add(attribute, fact) : addAbout(attribute, fact);
}

// What stops a leave timer is recorded as what it is: a join, a flush, a port that closes.
void Account::timer(const Timer& timer) {
  if (capacity_ == 0) return;
  flushStarted();
  const std::int64_t due = timer.due.nanoseconds();
  if (timer.kind == TimerKind::leaveAll) {
    const Kind kind = timer.step == TimerStep::armed   ? Kind::timerArmed
                      : timer.step == TimerStep::fired ? Kind::timerFired
                                                       : Kind::timerStopped;
    const bool served = leaveAllTimer_.intf == timer.attribute.intfId;
    const Number number =
        addAbout(timer.attribute,
                 {.kind = kind,
                  .event = octet(timer.kind),
                  .detail = static_cast<std::uint64_t>(due),
                  .cause = kind == Kind::timerArmed ? (served ? leaveAllTimer_.number : because_)
                                                    : recent(timer.attribute, [](const Record& r) {
                                                        return is(r, Kind::timerArmed);
                                                      })});
    leaveAllTimer_ = kind == Kind::timerFired ? OnPort{timer.attribute.intfId, number} : OnPort{};
    if (kind == Kind::timerFired) untoldRole_ = {};
    return;
  }
  if (timer.step == TimerStep::stopped) return;
  if (timer.step == TimerStep::armed) {
    started_ = {timer.attribute, timer.kind, due};
    return;
  }
  untoldRole_ = {};
  addAbout(timer.attribute, {.kind = Kind::timerFired,
                             .event = octet(timer.kind),
                             .detail = static_cast<std::uint64_t>(due),
                             .cause = ofArming(timer)});
}

// The transition, or the record of its own, that started a leave timer last. An explicit leave has
// a timer of its own.
Number Account::ofArming(const Timer& timer) const {
  const bool explicitly = timer.kind == TimerKind::explicitLeave;
  return recent(timer.attribute, [&](const Record& r) {
    if (is(r, Kind::timerArmed)) return r.event == octet(timer.kind);
    return is(r, Kind::registrar) && r.detail != 0 &&
           (r.event == octet(MrpRegistrarEvent::rLv)) == explicitly;
  });
}

void Account::committed(const Commit& commit) {
  if (capacity_ == 0) return;
  flushStarted();
  addAbout(commit.attribute, {.kind = Kind::committed,
                              .event = commit.added,
                              .cause = recent(commit.attribute, [](const Record& r) {
                                return is(r, Kind::registrar) || is(r, Kind::applicant);
                              })});
}

}  // namespace Mrp::Accounts
