// Requests of the application: from a service call to the encoders.

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {
namespace {

// The current attribute, put back at the end of a request.
class CurrentAttributeScope {
 public:
  explicit CurrentAttributeScope(MrpParseContext& context)
      : context_(context),
        intfId_(context.intfId()),
        attributeType_(context.attributeType()),
        attributeKey_(context.attributeKey()) {}
  ~CurrentAttributeScope() {
    context_.intfIdIs(intfId_);
    context_.attributeTypeIs(attributeType_);
    context_.attributeKeyIs(attributeKey_);
  }
  CurrentAttributeScope(const CurrentAttributeScope&) = delete;
  CurrentAttributeScope& operator=(const CurrentAttributeScope&) = delete;

 private:
  MrpParseContext& context_;
  IntfId intfId_;
  std::uint8_t attributeType_;
  std::uint64_t attributeKey_;
};

}  // namespace

void MrpLib::mrpJoinReq(const MrpParameters&) {}
void MrpLib::mrpLeaveReq(const MrpParameters&) {}

void MrpLib::mrpSendAttribute(const MrpParameters& parameters) {
  if (!mrpSm_ || !mrpSm_->active()) {
    mrpOutIntfQueueDelAll();
    return;
  }
  MrpParseContext& context = *mrpSm_->parseContext();
  const CurrentAttributeScope scope(context);
  // Of the interface that was current; drawn for those requests that use it.
  const bool leaveAll = parameters.attributeEvent == kLeaveAllEvent;
  const Platform::Seconds period =
      leaveAll ? getLeaveAllTime(*mrpSm_, context.intfId()) : Platform::Seconds();
  MRP_TRACE(mrpSm_->trace(), 8, "sendAttribute called");
  while (!mrpOutIntfQueueEmpty()) {
    const IntfId intf = mrpOutIntfQueueDeq();
    context.intfIdIs(parameters.intfId);
    context.attributeTypeIs(parameters.attributeType);
    context.attributeKeyIs(mrpSm_->mrpGetTxAttributeKey());
    switch (parameters.attributeEvent) {
      case static_cast<std::uint8_t>(MrpThreePackedEvent::newEvent):
        doDeclare(MrpApplicantEvent::newRequest);
        break;
      case static_cast<std::uint8_t>(MrpThreePackedEvent::joinIn):
      case static_cast<std::uint8_t>(MrpThreePackedEvent::joinMt):
        doDeclare(MrpApplicantEvent::join);
        break;
      case static_cast<std::uint8_t>(MrpThreePackedEvent::lv):
        mrpSm_->applicantSm()->applicantEventIs(MrpApplicantEvent::leave);
        mrpSm_->applicantSm()->handleApplicantEvent();
        mrpDeleteAttrOnDefaultStates();
        break;
      case kLeaveAllEvent:
        doSendLeaveAll(parameters, intf, period);
        break;
      case kInternalLeaveEvent:
        mrpHandleInternalLeave();
        break;
      default:
        MRP_TRACE(mrpSm_->trace(), 4,
                  "Event = " << +parameters.attributeEvent << " not handled in sendAttributeIntf ");
        break;
    }
  }
}

void MrpLib::doDeclare(MrpApplicantEvent event) {
  mrpSm_->applicantSm()->applicantEventIs(event);
  mrpSm_->applicantSm()->handleApplicantEvent();
  if (MrpAttrDatabase* record = mrpSm_->mrpGetAttribute(false)) {
    mrpSm_->mrpPopulateValueInDatabase(*record, true);
  }
}

// A running period of the type starts again.
void MrpLib::doSendLeaveAll(const MrpParameters& parameters, IntfId intf,
                            Platform::Seconds period) {
  const std::uint8_t type = parameters.attributeType;
  MRP_TRACE(mrpSm_->trace(), 7,
            "mrpSendAttribute: lvAllEvent_. intfId = " << intf << "attrType = " << +type);
  mrpSendAttributeIntf(parameters, intf, false);
  mrpSm_->applicationDatabase()->leaveAllTimeIs({intf, type}, period);
  MrpIntfLeaveAllSm* sm = mrpSm_->leaveAllSm()->intfLeaveAllSm(intf);
  if (!sm) return;
  sm->leaveAllPendingIs(type, period);
  sm->restart(type, period);
}

void MrpLib::mrpSendLeaveAll(std::uint8_t attributeType, IntfId intf) {
  MRP_TRACE(mrpSm_->trace(), 8,
            " \n mrpSendLeaveAll: type = " << +attributeType << " intfId = " << intf);
  MrpParameters parameters;
  parameters.intfId = intf;
  parameters.attributeType = attributeType;
  parameters.attributeEvent = kLeaveAllEvent;
  mrpSendAttributeIntf(parameters, intf, false);
}

// The stream fields are traced for every application, MVRP too.
void MrpLib::mrpHandleInternalLeave() {
  MRP_TRACE(mrpSm_->trace(), 8,
            " Type = " << +mrpSm_->parseContext()->attributeType() << std::hex
                       << " Adv streamId = " << keyOf(msrpTalkerAdvertiseTx_)
                       << " Failed streamId = " << keyOf(msrpTalkerFailedTx_) << std::dec
                       << " Listener Stream Id = " << msrpListenerVectorTx_);
  mrpSm_->registrarSm()->mrpDeleteAttrFromLeavePending();
  mrpSm_->mrpDeleteAttrFromDatabase();
}

void MrpLib::mrpDeleteAttrOnDefaultStates() {
  const MrpAttrDatabase* record = mrpSm_->mrpGetAttribute(false);
  if (!record) return;
  MRP_TRACE(mrpSm_->trace(), 6,
            " mrpDeleteAttrOnDefaultStates called. reg state= " << record->registrarState());
  if (!record->atRest()) return;
  mrpSm_->registrarSm()->mrpDeleteAttrFromLeavePending();
  mrpSm_->mrpDeleteAttrFromDatabase();
}

}  // namespace Mrp
