#pragma once

#include "mrp/types/MrpEnums.h"
#include "platform/reactor/Entity.h"

namespace Mrp {

class MrpAttrDatabase;
class Records;
class Transmitter;
struct Environment;
struct Subject;

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
  // Carries out the action of a cell of the table; gives the record as `handle` does.
  [[gnu::always_inline]] MrpAttrDatabase* send(Subject subject, std::uint8_t action,
                                               MrpRegistrarState registered);
  // What is told of an event, apart from the hot path: it costs that registers even when it is off.
  [[gnu::cold]] void tellEvent(Subject subject, MrpApplicantEvent event) const;
  [[gnu::cold]] void tellExit(Subject subject, std::size_t from, MrpApplicantEvent event) const;
  [[gnu::cold]] void tellInvalid(std::size_t state) const;

  const Environment& env_;
  Records& records_;
  Transmitter& transmitter_;
  MrpApplicantEvent applicantEvent_ = MrpApplicantEvent::none;
  bool initialized_ = false;
};

}  // namespace Mrp
