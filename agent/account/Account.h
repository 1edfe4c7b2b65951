#pragma once

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "agent/account/Record.h"
#include "mrp/types/Applications.h"
#include "platform/time/Clock.h"

namespace Mrp::Accounts {

// Keeps the last records of what one engine did, and of what its caller tells it. An observer of
// the engine: a transition whose event names its cause (a frame, a timer) takes it from there;
// requests, roles and what else comes from outside is told before it is done:
//
//   const Account::Scope because(account, account.request(…));
//
// What repeats a state is not recorded. A join that finds a registration as it is, a thousand of
// them in a refresh, would push out what explains it.
class Account final : public MrpObserver {
 public:
  static constexpr std::size_t kDefaultCapacity = 65536;

  // How many records are kept. They are the memory it takes, but for an index of an octet a record.
  // With 0 nothing is recorded and nothing is allocated. The clock is the engine's, and outlives
  // this.
  explicit Account(const Platform::Clock& clock, std::size_t capacity = kDefaultCapacity);
  ~Account() override;
  Account(const Account&) = delete;
  Account& operator=(const Account&) = delete;

  // --- The ring
  std::size_t capacity() const { return capacity_; }
  // The oldest and the newest record that are there; the first is above the last when there is
  // none.
  Number first() const { return last_ - size() + 1; }
  Number last() const { return last_; }
  std::size_t size() const { return static_cast<std::size_t>(std::min<Number>(last_, capacity_)); }
  bool has(Number number) const { return number >= first() && number <= last_; }
  // Null when it is not there (any more).
  const Record* record(Number number) const {
    return has(number) ? &ring_[static_cast<std::size_t>((number - 1) % capacity_)] : nullptr;
  }
  IntfId port(const Record& record) const { return portNumbered(record.port); }
  IntfId portNumbered(std::uint64_t number) const {
    return number < ports_.size() ? ports_[static_cast<std::size_t>(number)] : IntfId();
  }
  // The newest record of an attribute before a number that `wanted` accepts; null when the ring
  // holds none.
  template <class Wanted>
  const Record* newest(const MrpAttribute& attribute, Number before, Wanted wanted) const {
    return walkChain(attribute, before, ~std::size_t{0}, wanted);
  }
  const Platform::Clock& clock() const { return clock_; }

  // --- Told by the caller. Each gives the record's number, 0 without a ring.
  // Who asked for something; `user` and `place` (a process, a line) where they are known.
  struct Requester {
    By by = By::application;
    std::uint32_t user = kNobody;
    std::uint32_t place = kNobody;
  };
  Number request(Verb verb, const MrpAttribute& attribute, const Requester& by);
  Number role(IntfId intf, std::uint8_t role);
  Number portChanged(IntfId intf, PortChange change);
  Number activated();
  Number setting(Setting setting, IntfId intf, std::uint64_t value, const Requester& by);
  // What a bridge passes on. The cause is found among what was told before: the registration, or
  // what the caller does just now.
  // `inFrame`: a frame of the port is being acted on, for values that change without a transition.
  Number contribution(const MrpAttribute& attribute, bool contributes, bool inFrame = false);
  Number propagation(const MrpAttribute& attribute, bool declares);
  // What a bridge of streams decides; the cause is `because`, or 0 for what is done just now.
  struct Decision {
    MrpAttribute stream;      // its type is 0
    std::uint8_t before = 0;  // TalkerKind
    std::uint8_t now = 0;
    std::uint8_t code = 0;
    std::uint64_t need = 0, allowed = 0, inUse = 0;  // bit/s
  };
  Number decision(const Decision& decision);
  // One that is as it was is not recorded.
  Number reservation(IntfId intf, std::uint64_t stream, bool opened);
  Number listener(IntfId intf, std::uint64_t stream, std::uint8_t declared);
  // The time for which a changed talker fails is over.
  Number recovered(std::uint64_t stream);
  // The last decision of a stream on a port, or what was declared to its talker there.
  Number decided(IntfId intf, std::uint64_t stream) const;

  // While one is there, what the engine is asked to do was caused by record `because`. An inner one
  // hides an outer one. For 0 it changes nothing.
  class Scope {
   public:
    Scope(Account& account, Number because) : account_(account), outer_(account.because_) {
      if (because != 0) account.because_ = because;
    }
    ~Scope() { account_.because_ = outer_; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Account& account_;
    Number outer_;
  };

  // Of the innermost scope; 0: none.
  Number because() const { return because_; }

  // The number that the next received frame has in its file; it counts on from there.
  void nextFrameIs(std::uint64_t number) { received_ = number - 1; }

  // --- Told by the engine
  bool wantsIdle() const override { return false; }
  void frame(const Frame& frame) override;
  void event(const Event& event) override {
    if (event.leaveAll || event.direction == Direction::sent) eventOfNote(event);
  }
  void transition(const Transition& transition) override {
    if (transition.from != transition.to || started_ || encoded_) transitionOfNote(transition);
  }
  void discard(const Discard& discard) override;
  void timer(const Timer& timer) override;
  void committed(const Commit& commit) override;

 private:
  struct Fact {
    Kind kind = Kind::none;
    std::uint8_t event = 0;
    std::uint8_t states = 0;
    std::uint64_t detail = 0;
    Number cause = 0;
  };
  // What a port's open packets hold was put there because of this.
  struct Outgoing {
    Number cause = 0;
    bool sent = false;  // a frame has taken it along; the next event begins anew
  };
  // A leave timer that was started, until it is known which transition did it.
  struct Started {
    MrpAttribute attribute;
    TimerKind kind{};
    std::int64_t due = 0;
  };
  struct OnPort {
    IntfId intf;
    Number number = 0;
  };

  void eventOfNote(const Event& event);
  void transitionOfNote(const Transition& transition);
  Number add(const MrpAttribute& attribute, const Fact& fact);
  Number addAbout(const MrpAttribute& attribute, const Fact& fact);
  Record& next(const MrpAttribute& attribute, const Fact& fact);
  Number nextAbout(const MrpAttribute& attribute, const Fact& fact);
  void portIs(IntfId intf);
  std::size_t slotOf(const MrpAttribute& attribute) const;
  void flushStarted();
  Number causeOf(const Transition& transition);
  Number ofFrame(IntfId intf) const { return frame_.intf == intf ? frame_.number : 0; }
  Number ofLeaveAll(IntfId intf, std::uint8_t type) const;
  Number ofOwnLeaveAll(IntfId intf) const;
  Number ofArming(const Timer& timer) const;
  Number ofInputs(std::uint64_t stream) const;
  Number ofRole(const Transition& transition);
  Number ofRequest(const Transition& transition);
  Outgoing& outgoing(IntfId intf);
  void declared(const MrpAttribute& attribute, Number cause);

  template <class Wanted>
  const Record* walkChain(const MrpAttribute& attribute, Number before, std::size_t steps,
                          Wanted wanted) const;
  // The same for causes, which are found while the engine works: not for longer than that takes.
  template <class Wanted>
  Number recent(const MrpAttribute& attribute, Wanted wanted) const;

  const Platform::Clock& clock_;
  std::size_t capacity_;
  std::unique_ptr<Record[]> ring_;
  std::unique_ptr<std::uint32_t[]> heads_;  // newest record of a slot, its number's low half
  std::size_t mask_ = 0;
  std::size_t next_ = 0;  // where the next record goes
  Number last_ = 0;
  std::vector<IntfId> ports_;       // by their numbers
  std::vector<Outgoing> outgoing_;  // likewise
  std::uint64_t received_ = 0;      // frames
  std::uint64_t sent_ = 0;
  Number because_ = 0;                // of the innermost scope
  OnPort frame_;                      // the frame received last
  std::array<Number, 8> leaveAll_{};  // those it carried, by type
  OnPort leaveAllTimer_;              // the one being served
  OnPort untoldRole_;                 // a change that nobody told of, see ofRole
  std::optional<Started> started_;
  std::optional<MrpAttribute> encoded_;  // put into a packet by the transition that comes next
  std::uint8_t untoldRoleEvent_ = 0;
};

// Mixed with the address of the account, so that a peer cannot choose keys that collide.
inline std::size_t Account::slotOf(const MrpAttribute& attribute) const {
  std::uint64_t h = attribute.attributeKey ^ reinterpret_cast<std::uintptr_t>(this);
  h ^= (attribute.intfId.value() << 8 | attribute.attributeType) * 0x9E3779B97F4A7C15u;
  h = (h ^ h >> 32) * 0xD6E8FEB86659FD93u;
  return static_cast<std::size_t>(h >> 32) & mask_;
}

// The next record, which takes the place of the oldest. Inline where transitions are recorded: one
// in a few nanoseconds has no time for calls.
[[gnu::always_inline]] inline Record& Account::next(const MrpAttribute& attribute,
                                                    const Fact& fact) {
  const std::uint64_t port = attribute.intfId.value();
  if (port >= ports_.size() || ports_[static_cast<std::size_t>(port)] != attribute.intfId) {
    portIs(attribute.intfId);
  }
  Record& record = ring_[next_];
  if (++next_ == capacity_) next_ = 0;
  record.number = ++last_;
  record.time = clock_.now().nanoseconds();
  record.key = attribute.attributeKey;
  record.detail = fact.detail;
  const std::uint64_t back = fact.cause == 0 ? 0 : record.number - fact.cause;
  record.back =
      back <= std::numeric_limits<std::uint32_t>::max() ? static_cast<std::uint32_t>(back) : 0;
  record.chain = 0;
  record.port = static_cast<std::uint32_t>(port);
  record.kind = fact.kind;
  record.type = attribute.attributeType;
  record.event = fact.event;
  record.states = fact.states;
  return record;
}

// The same, to be found again by its attribute.
[[gnu::always_inline]] inline Number Account::nextAbout(const MrpAttribute& attribute,
                                                        const Fact& fact) {
  Record& record = next(attribute, fact);
  std::uint32_t& head = heads_[slotOf(attribute)];
  const auto low = static_cast<std::uint32_t>(record.number);
  record.chain = head == 0 ? 0 : low - head;
  head = low;
  return record.number;
}

// The chain goes back through the records of a slot, those of this attribute among them. One that
// was overwritten ends it: what is before is older still.
template <class Wanted>
const Record* Account::walkChain(const MrpAttribute& attribute, Number before, std::size_t steps,
                                 Wanted wanted) const {
  if (last_ == 0) return nullptr;
  const auto intf = static_cast<std::uint32_t>(attribute.intfId.value());
  const std::uint32_t newest = heads_[slotOf(attribute)];
  if (newest == 0) return nullptr;
  Number at = last_ - static_cast<std::uint32_t>(static_cast<std::uint32_t>(last_) - newest);
  for (const Record* r = record(at); r && steps > 0; r = record(at), --steps) {
    if (at < before && r->of(intf, attribute.attributeType, attribute.attributeKey) && wanted(*r)) {
      return r;
    }
    if (r->chain == 0 || r->chain >= at) break;
    at -= r->chain;
  }
  return nullptr;
}

// A scope for whoever may have an account or none.
using Because = std::optional<Account::Scope>;
template <class Tell>
[[nodiscard]] Because because(Account* account, Tell tell) {
  if (!account) return std::nullopt;
  return Because(std::in_place, *account, tell(*account));
}

}  // namespace Mrp::Accounts
