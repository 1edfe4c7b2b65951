#pragma once

#include "mrp/types/MrpEnums.h"
#include "platform/reactor/Entity.h"

namespace Mrp {

class MrpAttrDatabase;
class Records;
class Transmitter;
struct Environment;
struct Subject;

// What a cell of the Applicant's table sends, before it writes the state. "First" and "second" are
// the port's two open packets.
enum class ApplicantAction : std::uint8_t {
  none,
  newTwice,        // New into the first, then into the second
  newOnce,         // New into the first
  joinTwice,       // JoinIn or JoinMt, by the registrar's state, into both
  joinOnce,        // the same into the first
  registered,      // In or Mt, by the registrar's state, into the first
  registeredJoin,  // the registered state into the first, the join into the second
  leave,           // Lv into the first
};

struct ApplicantCell {
  static constexpr std::uint8_t kStays = 0xFF;
  ApplicantAction action = ApplicantAction::none;
  std::uint8_t next = kStays;
  friend constexpr bool operator==(ApplicantCell, ApplicantCell) = default;
};

// Applicant (IEEE 802.1Q 10.7.7, reduced): decides what this station declares about an attribute.
// It waits for no transmit opportunity; a transition that declares sends at once. One per engine;
// the state is in the attribute's record.
class MRP_API MrpApplicantSm : public Platform::Entity {
 public:
  MrpApplicantSm(const Environment& env, Records& records, Transmitter& transmitter);

  // Takes an event. The value of the attribute stands in the transmit record where it may have to
  // be sent. `registered` is the registrar's state as the neighbours are told of it. Gives the
  // record; null when the application, which runs inside transmissions, has taken it away.
  MrpAttrDatabase* handle(Subject subject, MrpApplicantEvent event, MrpRegistrarState registered);
  MrpAttrDatabase* handle(Subject subject, MrpApplicantEvent event);
  // The same for what nearly always sends something: a request, a LeaveAll of our own.
  MrpAttrDatabase* handleSending(Subject subject, MrpApplicantEvent event);

  // The stored event against the current attribute, whose record is made when absent.
  void applicantEventIs(MrpApplicantEvent event) { applicantEvent_ = event; }
  MrpApplicantEvent applicantEvent() const { return applicantEvent_; }
  void handleApplicantEvent();
  // Nothing happens when the current attribute has no record.
  void mrpSetApplicantState(MrpApplicantState state);

  static MrpApplicantEvent mrpMapRxApplicantEvent(std::uint8_t threePackedEvent) {
    return applicantEventOf(threePackedEvent);
  }

 private:
  void handleInitialized() { initialized_ = true; }
  // What they do.
  template <bool kMostlySends>
  [[gnu::always_inline]] MrpAttrDatabase* take(Subject subject, MrpApplicantEvent event,
                                               MrpRegistrarState registered);
  // What a cell says. Those that may send give the record as `handle` does.
  [[gnu::noinline]] MrpAttrDatabase* act(Subject subject, ApplicantCell cell,
                                         MrpRegistrarState registered);
  [[gnu::always_inline]] MrpAttrDatabase* actInline(Subject subject, ApplicantCell cell,
                                                    MrpRegistrarState registered);
  [[gnu::always_inline]] MrpAttrDatabase* send(Subject subject, ApplicantAction action,
                                               MrpRegistrarState registered);
  void enter(Subject subject, ApplicantCell cell);
  // The same as `handle` when somebody is told of it: telling costs registers even when it is off.
  [[gnu::cold]] MrpAttrDatabase* handleTold(Subject subject, MrpApplicantEvent event,
                                            MrpRegistrarState registered);
  void tellEvent(Subject subject, MrpApplicantEvent event) const;
  void tellExit(Subject subject, MrpApplicantState from, MrpApplicantEvent event) const;
  [[gnu::cold]] MrpAttrDatabase* tellInvalid(Subject subject, MrpApplicantState state) const;

  const Environment& env_;
  Records& records_;
  Transmitter& transmitter_;
  MrpApplicantEvent applicantEvent_ = MrpApplicantEvent::none;
  bool initialized_ = false;
};

}  // namespace Mrp
