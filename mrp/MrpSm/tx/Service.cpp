// Requests of the application: from a service call to the encoders.

#include <algorithm>

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

constexpr std::size_t kDataRoom = 1500;
// Room that is left for the header, the end marks and the next vector before a packet counts as
// full.
constexpr std::size_t kMargin = 64;
// Of the packet buffer: Ethernet header and version, and a tag should an endpoint add one.
constexpr std::size_t kHeadRoom = 32;

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

void MrpLib::mrpSendAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  if (!mrpSm_->pamCollection()->pam(intf)) {
    MRP_TRACE(mrpSm_->trace(), 4, " Tx is being Attempted before the PAM is enabled ");
    return;
  }
  const MrpTxPacketContext* context = openContext(parameters, intf, second);
  if (!context) return;
  switch (application_) {
    case MrpApplication::msrp:
      mrpSendMsrpAttributeIntf(parameters, intf, second);
      break;
    case MrpApplication::mvrp:
      mrpSendMvrpAttributeIntf(parameters, intf, second);
      break;
    default: {
      MRP_TRACE(mrpSm_->trace(), 8, " Not supported Application:  " << application_);
      std::ostringstream text;
      text << "unsupported application " << application_;
      mrpSm_->trace().record(std::move(text).str());
      break;
    }
  }
  if (packetFull(*context, intf)) mrpSm_->mrpTransmitTxPacket(intf, second);
}

// The open packet that takes an attribute of this type: messages of one MRPDU stand in ascending
// order of type, so an open packet that is past it leaves first.
const MrpTxPacketContext* MrpLib::openContext(const MrpParameters& parameters, IntfId intf,
                                              bool second) {
  MrpTxPacketContext* context = mrpTxContext(intf, second);
  if (context && context->currentAttrType() > parameters.attributeType) {
    mrpSm_->mrpTransmitTxPacket(intf, second);
    context = mrpTxContext(intf, second);
  }
  if (context) return context;
  const Ptr<Pkt> pkt = mrpSm_->pktManager().pktIs(kHeadRoom, kDataRoom);
  if (!pkt) {
    MRP_TRACE(mrpSm_->trace(), 4, "Packet allocation failed for " << parameters);
    std::ostringstream text;
    text << "packet allocation failed for " << parameters;
    mrpSm_->trace().record(std::move(text).str());
    return nullptr;
  }
  pkt->sizeIs(kDataRoom);
  return &(second ? mrpTxSecondPacketContextIs(intf, pkt) : mrpTxPacketContextIs(intf, pkt));
}

bool MrpLib::packetFull(const MrpTxPacketContext& context, IntfId intf) const {
  const Platform::IntfStatus* status = mrpSm_->allIntfStatusDir()->intfStatus(intf);
  const std::size_t limit = status ? std::min<std::size_t>(status->mtu, kDataRoom) : kDataRoom;
  return mrpGetNumOfPackedBytes(context, application_) + kMargin >= limit;
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
