#include "mrp/MrpSm/sm/MrpApplicantSm.h"

#include <array>

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/tx/Transmitter.h"

namespace Mrp {
namespace {

// What a cell sends, before it writes the state. "First" and "second" are the port's two open
// packets.
enum class Action : std::uint8_t {
  none,
  newTwice,        // New into the first, then into the second
  newOnce,         // New into the first
  joinTwice,       // JoinIn or JoinMt, by the registrar's state, into both
  joinOnce,        // the same into the first
  registered,      // In or Mt, by the registrar's state, into the first
  registeredJoin,  // the registered state into the first, the join into the second
  leave,           // Lv into the first
};

using enum MrpApplicantState;

constexpr std::uint8_t kStays = 0xFF;

struct Cell {
  Action action = Action::none;
  std::uint8_t next = kStays;
};

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
using Row = std::array<Cell, kEvents>;

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

using Into = Transmitter::Into;

// What an action puts into the port's open packets: an event, by the registrar's state, and in one
// case a Join into the second packet behind it.
struct Send {
  MrpThreePackedEvent event;
  MrpThreePackedEvent whenRegistered;
  Into into;
  bool thenJoin;
};

using enum MrpThreePackedEvent;

// In the order of Action.
constexpr std::array<Send, 8> kSends{{
    /* none           */ {},
    /* newTwice       */ {newEvent, newEvent, Into::both, false},
    /* newOnce        */ {newEvent, newEvent, Into::first, false},
    /* joinTwice      */ {joinMt, joinIn, Into::both, false},
    /* joinOnce       */ {joinMt, joinIn, Into::first, false},
    /* registered     */ {mt, in, Into::first, false},
    /* registeredJoin */ {mt, in, Into::first, true},
    /* leave          */ {lv, lv, Into::first, false},
}};
static_assert(kSends.size() == static_cast<std::size_t>(Action::leave) + 1);

}  // namespace

MrpApplicantSm::MrpApplicantSm(const Environment& env, Records& records, Transmitter& transmitter)
    : env_(env), records_(records), transmitter_(transmitter) {
  handleInitialized();
}

void MrpApplicantSm::handleApplicantEvent() {
  const auto& [intf, type, key] = env_.current();
  const Subject subject = records_.is(intf, type, key, env_.values.rxImage(type));
  if (subject) handle(subject, applicantEvent_);
}

MrpAttrDatabase* MrpApplicantSm::handle(Subject subject, MrpApplicantEvent event) {
  return handle(subject, event, subject.record->registrarState());
}

MrpAttrDatabase* MrpApplicantSm::handle(Subject subject, MrpApplicantEvent event,
                                        MrpRegistrarState registered) {
  const bool told = env_.trace.isOn(7) || env_.observed();
  if (told) tellEvent(subject, event);
  auto from = static_cast<std::size_t>(subject.record->applicantState());
  const auto column = static_cast<std::size_t>(event);
  if (from >= kStates) {
    tellInvalid(from);
    return subject.record;
  }
  const Cell cell = column < kEvents ? kApplicantTable[from][column] : none_;
  if (cell.action != Action::none) {
    subject.record = send(subject, static_cast<std::uint8_t>(cell.action), registered);
    if (!subject.record) return nullptr;
    // Whoever ran inside a transmission may have driven this very machine.
    if (told) from = static_cast<std::size_t>(subject.record->applicantState());
  }
  if (cell.next != kStays) {
    subject.record->applicantStateIs(static_cast<MrpApplicantState>(cell.next));
  }
  if (told) tellExit(subject, from, event);
  return subject.record;
}

inline MrpAttrDatabase* MrpApplicantSm::send(Subject subject, std::uint8_t action,
                                             MrpRegistrarState registered) {
  const bool in = registered == MrpRegistrarState::in;
  const std::uint64_t key = subject.key();
  const Send& what = kSends[action];
  const MrpThreePackedEvent event = in ? what.whenRegistered : what.event;
  bool sent = transmitter_.send(subject.intf(), subject.type(), static_cast<std::uint8_t>(event),
                                what.into);
  if (what.thenJoin) {
    sent |= transmitter_.send(subject.intf(), subject.type(),
                              static_cast<std::uint8_t>(in ? joinIn : joinMt), Into::second);
  }
  return sent ? records_.find(subject.intf(), subject.type(), key).record : subject.record;
}

void MrpApplicantSm::tellEvent(Subject subject, MrpApplicantEvent event) const {
  MRP_TRACE(env_.trace, 7,
            "handleApplicantEvent Key = 0x"
                << std::hex << subject.key() << std::dec << " Type= " << +subject.type()
                << " intf = " << subject.intf()
                << " Enter: state = " << subject.record->applicantState() << " event = " << event);
}

void MrpApplicantSm::tellExit(Subject subject, std::size_t from, MrpApplicantEvent event) const {
  const MrpApplicantState to = subject.record->applicantState();
  MRP_TRACE(env_.trace, 7, " Exit: handleApplicantEvent, state = " << to);
  env_.moved(MrpObserver::Machine::applicant, static_cast<MrpApplicantState>(from), event, to,
             subject.attribute());
}

void MrpApplicantSm::tellInvalid(std::size_t state) const {
  MRP_TRACE(env_.trace, 4, "Invalid applicant State = " << state);
}

void MrpApplicantSm::mrpSetApplicantState(MrpApplicantState state) {
  if (const Subject subject = records_.find(env_.current())) {
    subject.record->applicantStateIs(state);
  }
}

}  // namespace Mrp
