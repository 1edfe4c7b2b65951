#pragma once

#include "mrp/types/MrpAttrDatabase.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpEnums.h"
#include "platform/reactor/Entity.h"

namespace Mrp {

class MrpSm;

// Applicant (IEEE 802.1Q 10.7.7, reduced): decides what this station declares about the engine's
// current attribute. It waits for no transmit opportunity; a transition that declares sends at
// once. One per engine; the state is in the attribute's record.
class MrpApplicantSm : public Platform::Entity {
 public:
  MrpApplicantSm(MrpSm& mrpSm, Ptr<MrpConfig> mrpConfig);

  // The event to be processed next.
  void applicantEventIs(MrpApplicantEvent event) { applicantEvent_ = event; }
  MrpApplicantEvent applicantEvent() const { return applicantEvent_; }
  // Processes the stored event against the current attribute, whose record is made when absent.
  void handleApplicantEvent();
  // The same for a caller that holds the current attribute's record.
  void handleApplicantEvent(MrpAttrDatabase& record);

  static MrpApplicantEvent mrpMapRxApplicantEvent(std::uint8_t threePackedEvent) {
    return applicantEventOf(threePackedEvent);
  }
  // Nothing happens when the current attribute has no record.
  void mrpSetApplicantState(MrpApplicantState state);

 private:
  void handleInitialized() { initialized_ = true; }
  // Traces of the hot path, apart from it: text building costs it registers even when it is off.
  void traceEvent(const MrpAttrDatabase& record) const;
  void traceExit(const MrpAttrDatabase& record) const;
  void traceInvalidState(const MrpAttrDatabase& record) const;
  void mrpApplicantSendNew(bool second);
  void mrpApplicantSendJoin(const MrpAttrDatabase& record, bool second);
  void mrpApplicantSendRegisteredState(const MrpAttrDatabase& record, bool second);
  void mrpApplicantSendLeave();
  void send(MrpThreePackedEvent event, bool second);

  MrpSm& mrpSm_;
  Ptr<MrpConfig> mrpConfig_;
  MrpApplicantEvent applicantEvent_ = MrpApplicantEvent::none;
  bool initialized_ = false;
};

}  // namespace Mrp
