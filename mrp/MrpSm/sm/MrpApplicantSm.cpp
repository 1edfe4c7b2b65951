#include "mrp/MrpSm/sm/MrpApplicantSm.h"

#include <array>

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/tx/Transmitter.h"

namespace Mrp {
namespace {

using enum MrpApplicantState;
using Action = ApplicantAction;
using Cell = ApplicantCell;

constexpr std::uint8_t kStays = Cell::kStays;

constexpr Cell to(MrpApplicantState next) {
  return {Action::none, static_cast<std::uint8_t>(next)};
}
constexpr Cell does(Action action) { return {action, kStays}; }
constexpr Cell does(Action action, MrpApplicantState next) {
  return {action, static_cast<std::uint8_t>(next)};
}

constexpr Cell none_{};                                         // nothing happens
constexpr Cell NN_QA = does(Action::newTwice, qa);              // New, New
constexpr Cell N_QA = does(Action::newOnce, qa);                // New
constexpr Cell JJ_QA = does(Action::joinTwice, qa);             // Join, Join
constexpr Cell J_QA = does(Action::joinOnce, qa);               // Join
constexpr Cell Jstay = does(Action::joinOnce);                  // Join, state not written
constexpr Cell Sstay = does(Action::registered);                // In or Mt, state not written
constexpr Cell S_VO = does(Action::registered, vo);             // In or Mt
constexpr Cell SJ_QA = does(Action::registeredJoin, qa);        // In or Mt, then Join
constexpr Cell L_VO = does(Action::leave, vo);                  // Lv
constexpr Cell to_VO = to(vo), to_QA = to(qa), to_AO = to(ao);  // silently
constexpr Cell to_QO = to(qo), to_QP = to(qp);

constexpr std::size_t kStates = 12;
constexpr std::size_t kEvents = 14;
// What is behind the last event is none, and does nothing.
constexpr std::size_t kColumns = 16;
using Row = std::array<Cell, kColumns>;

// clang-format off
constexpr std::array<Row, kStates> kApplicantTable{{
//         New!   Join!  Lv!    ReDecl Flush! rNew!  rJoinIn rIn!  rJoinMt rMt!  rLv!   rLA!   txLA!  none
/* VO */ {{NN_QA, JJ_QA, none_, Sstay, none_, none_, to_AO, none_, none_, none_, Sstay, Sstay, Sstay, none_}},
/* VP */ {{NN_QA, none_, to_VO, none_, none_, none_, J_QA,  none_, none_, none_, none_, none_, SJ_QA, none_}},
/* VN */ {{none_, none_, L_VO,  none_, none_, none_, none_, none_, none_, none_, none_, none_, NN_QA, none_}},
/* AN */ {{none_, none_, L_VO,  NN_QA, none_, none_, none_, none_, none_, none_, NN_QA, NN_QA, N_QA,  none_}},
/* AA */ {{NN_QA, none_, L_VO,  JJ_QA, none_, none_, to_QA, to_QA, none_, none_, JJ_QA, JJ_QA, none_, none_}},
/* QA */ {{NN_QA, JJ_QA, L_VO,  JJ_QA, none_, none_, none_, none_, J_QA,  J_QA,  JJ_QA, JJ_QA, Jstay, none_}},
/* LA */ {{NN_QA, J_QA,  none_, none_, none_, none_, none_, none_, none_, none_, none_, none_, S_VO,  none_}},
/* AO */ {{NN_QA, J_QA,  none_, S_VO,  none_, none_, to_QO, none_, none_, none_, S_VO,  S_VO,  S_VO,  none_}},
/* QO */ {{NN_QA, to_QP, none_, S_VO,  none_, none_, none_, none_, to_AO, to_AO, S_VO,  S_VO,  S_VO,  none_}},
/* AP */ {{NN_QA, none_, to_AO, JJ_QA, none_, none_, to_QP, none_, none_, none_, JJ_QA, JJ_QA, J_QA,  none_}},
/* QP */ {{NN_QA, none_, to_QO, JJ_QA, none_, none_, none_, none_, J_QA,  J_QA,  JJ_QA, JJ_QA, J_QA,  none_}},
/* LO */ {{NN_QA, JJ_QA, none_, none_, none_, none_, none_, none_, to_VO, to_VO, none_, none_, none_, none_}},
}};
// clang-format on

static_assert(kApplicantTable.size() == static_cast<std::size_t>(lo) + 1);
static_assert(kEvents == static_cast<std::size_t>(MrpApplicantEvent::none) + 1);

bool isState(MrpApplicantState state) { return static_cast<std::size_t>(state) < kStates; }

Cell cellOf(MrpApplicantState from, MrpApplicantEvent event) {
  const auto column = static_cast<std::size_t>(event) % kColumns;
  return kApplicantTable[static_cast<std::size_t>(from)][column];
}

// A cell that only writes a state writes another one.
constexpr bool isIdle(Cell cell) { return cell == none_; }

constexpr bool writesAnother() {
  for (std::size_t from = 0; from < kStates; ++from) {
    for (const Cell cell : kApplicantTable[from]) {
      if (cell.action == Action::none && cell.next == from) return false;
    }
  }
  return true;
}
static_assert(writesAnother());

using Events = Transmitter::Events;
using enum MrpThreePackedEvent;

constexpr Events first(MrpThreePackedEvent event) {
  return Transmitter::intoFirst(static_cast<std::uint8_t>(event));
}
constexpr Events both(MrpThreePackedEvent one, MrpThreePackedEvent other) {
  return {static_cast<std::uint8_t>(one), static_cast<std::uint8_t>(other),
          Transmitter::Into::both};
}

// What an action puts into the port's open packets, in the order of Action: when the attribute is
// not registered, and when it is.
// clang-format off
constexpr std::array<std::array<Events, 2>, 8> kSends{{
    /* none           */ {},
    /* newTwice       */ {{both(newEvent, newEvent), both(newEvent, newEvent)}},
    /* newOnce        */ {{first(newEvent),          first(newEvent)}},
    /* joinTwice      */ {{both(joinMt, joinMt),     both(joinIn, joinIn)}},
    /* joinOnce       */ {{first(joinMt),            first(joinIn)}},
    /* registered     */ {{first(mt),                first(in)}},
    /* registeredJoin */ {{both(mt, joinMt),         both(in, joinIn)}},
    /* leave          */ {{first(lv),                first(lv)}},
}};
// clang-format on
static_assert(kSends.size() == static_cast<std::size_t>(Action::leave) + 1);

}  // namespace

MrpApplicantSm::MrpApplicantSm(const Environment& env, Records& records, Transmitter& transmitter)
    : env_(env), records_(records), transmitter_(transmitter) {
  handleInitialized();
}

void MrpApplicantSm::handleApplicantEvent() {
  const auto& [intf, type, key] = env_.current();
  const Subject subject = records_.is(intf, type, key, env_.values.images(type));
  if (subject) handle(subject, applicantEvent_);
}

MrpAttrDatabase* MrpApplicantSm::handle(Subject subject, MrpApplicantEvent event) {
  return handle(subject, event, subject.record->registrarState());
}

// What sends is a call: it needs registers, which the others do without.
MrpAttrDatabase* MrpApplicantSm::handle(Subject subject, MrpApplicantEvent event,
                                        MrpRegistrarState registered) {
  return take<false>(subject, event, registered);
}

MrpAttrDatabase* MrpApplicantSm::handleSending(Subject subject, MrpApplicantEvent event) {
  return take<true>(subject, event, subject.record->registrarState());
}

template <bool kMostlySends>
inline MrpAttrDatabase* MrpApplicantSm::take(Subject subject, MrpApplicantEvent event,
                                             MrpRegistrarState registered) {
  if (env_.trace.isOn(7)) return handleTold(subject, event, registered);
  const MrpApplicantState from = subject.record->applicantState();
  if (!isState(from)) return tellInvalid(subject, from);
  const Cell cell = cellOf(from, event);
  if (isIdle(cell) && !env_.tellsIdle) return subject.record;
  if (env_.observed()) return handleTold(subject, event, registered);
  if (cell.action != Action::none) {
    return kMostlySends ? actInline(subject, cell, registered) : act(subject, cell, registered);
  }
  enter(subject, cell);
  return subject.record;
}

MrpAttrDatabase* MrpApplicantSm::handleTold(Subject subject, MrpApplicantEvent event,
                                            MrpRegistrarState registered) {
  tellEvent(subject, event);
  MrpApplicantState from = subject.record->applicantState();
  if (!isState(from)) return tellInvalid(subject, from);
  const Cell cell = cellOf(from, event);
  if (cell.action != Action::none) subject.record = send(subject, cell.action, registered);
  if (!subject) return nullptr;
  // Whoever ran inside a transmission may have driven this very machine.
  from = subject.record->applicantState();
  enter(subject, cell);
  tellExit(subject, from, event);
  return subject.record;
}

MrpAttrDatabase* MrpApplicantSm::act(Subject subject, Cell cell, MrpRegistrarState registered) {
  return actInline(subject, cell, registered);
}

inline MrpAttrDatabase* MrpApplicantSm::actInline(Subject subject, Cell cell,
                                                  MrpRegistrarState registered) {
  MrpAttrDatabase* record = send(subject, cell.action, registered);
  if (record) enter({subject.types, record}, cell);
  return record;
}

inline void MrpApplicantSm::enter(Subject subject, Cell cell) {
  if (cell.next == kStays) return;
  subject.types->applicantStateIs(*subject.record, static_cast<MrpApplicantState>(cell.next));
}

inline MrpAttrDatabase* MrpApplicantSm::send(Subject subject, Action action,
                                             MrpRegistrarState registered) {
  const std::uint64_t key = subject.key();
  const bool in = registered == MrpRegistrarState::in;
  const Events& events = kSends[static_cast<std::size_t>(action)][in];
  const bool sent = transmitter_.send(subject.intf(), subject.type(), events);
  if (sent) [[unlikely]]
    return records_.find(subject.intf(), subject.type(), key).record;
  return subject.record;
}

void MrpApplicantSm::tellEvent(Subject subject, MrpApplicantEvent event) const {
  MRP_TRACE(env_.trace, 7,
            "handleApplicantEvent Key = 0x"
                << std::hex << subject.key() << std::dec << " Type= " << +subject.type()
                << " intf = " << subject.intf()
                << " Enter: state = " << subject.record->applicantState() << " event = " << event);
}

void MrpApplicantSm::tellExit(Subject subject, MrpApplicantState from,
                              MrpApplicantEvent event) const {
  const MrpApplicantState to = subject.record->applicantState();
  MRP_TRACE(env_.trace, 7, " Exit: handleApplicantEvent, state = " << to);
  env_.moved(MrpObserver::Machine::applicant, from, event, to, subject.attribute());
}

MrpAttrDatabase* MrpApplicantSm::tellInvalid(Subject subject, MrpApplicantState state) const {
  MRP_TRACE(env_.trace, 4, "Invalid applicant State = " << static_cast<std::size_t>(state));
  return subject.record;
}

void MrpApplicantSm::mrpSetApplicantState(MrpApplicantState state) {
  if (const Subject subject = records_.find(env_.current())) {
    subject.record->applicantStateIs(state);
  }
}

}  // namespace Mrp
