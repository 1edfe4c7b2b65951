#include "mrp/MrpSm/sm/MrpApplicantSm.h"

#include <array>

#include "mrp/MrpSm/engine/MrpSm.h"

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

}  // namespace

MrpApplicantSm::MrpApplicantSm(MrpSm& mrpSm, Ptr<MrpConfig> mrpConfig)
    : mrpSm_(mrpSm), mrpConfig_(std::move(mrpConfig)) {
  handleInitialized();
}

void MrpApplicantSm::handleApplicantEvent() {
  MrpAttrDatabase* record = mrpSm_.mrpGetAttribute(true);
  if (!record) {
    MRP_TRACE(mrpSm_.trace(), 4, " Memory failed for attrDatabase ");
    return;
  }
  handleApplicantEvent(*record);
}

void MrpApplicantSm::handleApplicantEvent(MrpAttrDatabase& record) {
  const bool traced = mrpSm_.trace().isOn(7);
  if (traced) traceEvent(record);
  const auto state = static_cast<std::size_t>(record.applicantState());
  const auto event = static_cast<std::size_t>(applicantEvent_);
  if (state >= kStates) return traceInvalidState(record);
  const Cell cell = event < kEvents ? kApplicantTable[state][event] : none_;
  switch (cell.action) {
    case Action::none:
      break;
    case Action::newTwice:
      mrpApplicantSendNew(false);
      mrpApplicantSendNew(true);
      break;
    case Action::newOnce:
      mrpApplicantSendNew(false);
      break;
    case Action::joinTwice:
      mrpApplicantSendJoin(record, false);
      mrpApplicantSendJoin(record, true);
      break;
    case Action::joinOnce:
      mrpApplicantSendJoin(record, false);
      break;
    case Action::registered:
      mrpApplicantSendRegisteredState(record, false);
      break;
    case Action::registeredJoin:
      mrpApplicantSendRegisteredState(record, false);
      mrpApplicantSendJoin(record, true);
      break;
    case Action::leave:
      mrpApplicantSendLeave();
      break;
  }
  if (cell.next != kStays) record.applicantStateIs(static_cast<MrpApplicantState>(cell.next));
  if (traced) traceExit(record);
}

void MrpApplicantSm::traceExit(const MrpAttrDatabase& record) const {
  MRP_TRACE(mrpSm_.trace(), 7, " Exit: handleApplicantEvent, state = " << record.applicantState());
}

void MrpApplicantSm::traceInvalidState(const MrpAttrDatabase& record) const {
  MRP_TRACE(mrpSm_.trace(), 4,
            "Invalid applicant State = " << static_cast<std::size_t>(record.applicantState()));
}

void MrpApplicantSm::traceEvent(const MrpAttrDatabase& record) const {
  const MrpParseContext& context = *mrpSm_.parseContext();
  MRP_TRACE(mrpSm_.trace(), 7,
            "handleApplicantEvent Key = 0x"
                << std::hex << context.attributeKey() << std::dec
                << " Type= " << +context.attributeType() << " intf = " << context.intfId()
                << " Enter: state = " << record.applicantState() << " event = " << applicantEvent_);
}

void MrpApplicantSm::mrpSetApplicantState(MrpApplicantState state) {
  if (MrpAttrDatabase* record = mrpSm_.mrpGetAttribute(false)) record->applicantStateIs(state);
}

void MrpApplicantSm::mrpApplicantSendNew(bool second) {
  send(MrpThreePackedEvent::newEvent, second);
}

void MrpApplicantSm::mrpApplicantSendJoin(const MrpAttrDatabase& record, bool second) {
  const bool in = record.registrarState() == MrpRegistrarState::in;
  send(in ? MrpThreePackedEvent::joinIn : MrpThreePackedEvent::joinMt, second);
}

void MrpApplicantSm::mrpApplicantSendRegisteredState(const MrpAttrDatabase& record, bool second) {
  const bool in = record.registrarState() == MrpRegistrarState::in;
  send(in ? MrpThreePackedEvent::in : MrpThreePackedEvent::mt, second);
}

void MrpApplicantSm::mrpApplicantSendLeave() { send(MrpThreePackedEvent::lv, false); }

void MrpApplicantSm::send(MrpThreePackedEvent event, bool second) {
  const MrpParseContext& context = *mrpSm_.parseContext();
  MrpParameters parameters;
  parameters.intfId = context.intfId();
  parameters.attributeType = context.attributeType();
  parameters.attributeEvent = static_cast<std::uint8_t>(event);
  mrpSm_.mrpLib()->mrpSendAttributeIntf(parameters, context.intfId(), second);
}

}  // namespace Mrp
