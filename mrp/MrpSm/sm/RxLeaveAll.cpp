// A LeaveAll received in an MRPDU, and a LeaveAll for all types of a port on request.

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {

// The Applicant is to see what the PDU itself declares: IN for an attribute that the same PDU
// joins, MT for any other. The Registrar then works from its own state.
void MrpSm::mrpProcessRxLeaveAll(IntfId intf, std::uint8_t type) {
  MRP_TRACE(trace(), 8, "MrpSm::mrpProcessRxLeaveAll( " << intf << ", " << +type << " )");
  walkAttributes(intf, type, [&](MrpAttrDatabase& record) {
    const std::uint64_t key = record.attributeKey();
    MRP_TRACE(trace(), 7,
              "mrpProcessRxLeaveAll: attributeKey = 0x"
                  << std::hex << key << std::dec << " Type= " << +type << "interface = " << intf);
    contextIs(intf, type, record);
    const MrpRegistrarState registered = record.registrarState();
    const MrpParsedAttribute* parsed = mrpParsedAttribute_.find({type, key});
    const bool joined = parsed && MrpRegistrarSm::mrpMapRxRegistrarEvent(parsed->attributeEvent) <
                                      MrpRegistrarEvent::rLv;
    record.registrarStateIs(joined ? MrpRegistrarState::in : MrpRegistrarState::mt);
    applicantSm()->applicantEventIs(MrpApplicantEvent::rxLvAll_);
    applicantSm()->handleApplicantEvent(record);
    record.registrarStateIs(registered);
    registrarSm()->registrarEventIs(MrpRegistrarEvent::regLvAll_);
    registrarSm()->handleRegistrarEvent(record);
  });
}

void MrpPamSm::transmitAllLeaveAll(IntfId intf) {
  MRP_TRACE(mrpSm_.trace(), 8, "MrpPamSm::transmitAllLeaveAll( " << intf << " )");
  MRP_ASSERT_TEXT(initialized_ && !standbyMode_, "initialized() && !standbyMode()");
  if (MrpIntfPamSm* port = mrpIntfPamSm(intf)) port->transmitAllLeaveAll();
}

void MrpIntfPamSm::transmitAllLeaveAll() {
  MrpSm& mrpSm = mrpPamSm_.mrpSm();
  MRP_TRACE(mrpSm.trace(), 8, "MrpIntfPamSm::transmitAllLeaveAll( " << intfId_ << " )");
  MRP_ASSERT_TEXT(initialized_ && !standbyMode_, "initialized() && !standbyMode()");
  const Seconds period = getLeaveAllTime(mrpSm, intfId_);
  for (std::uint8_t type = 1; type <= mrpSm.maxAttrTypes(); ++type) {
    mrpAllLeaveAllSm(type);
    if (MrpIntfLeaveAllSm* sm = mrpSm.leaveAllSm()->intfLeaveAllSm(intfId_)) {
      sm->restart(type, period);
    }
  }
  mrpSm.mrpTransmitTxAttributes(intfId_);
}

void MrpIntfPamSm::mrpAllLeaveAllSm(std::uint8_t type) {
  MrpSm& mrpSm = mrpPamSm_.mrpSm();
  MrpParseContext& context = *mrpSm.parseContext();
  context.sendTxLvAllIs(true);
  mrpSm.walkAttributes(intfId_, type, [&](MrpAttrDatabase& record) {
    MRP_TRACE(mrpSm.trace(), 7,
              "AllLeaveAllSm: attributeKey = 0x" << std::hex << record.attributeKey());
    mrpSm.contextIs(intfId_, type, record);
    mrpSm.applicantSm()->applicantEventIs(MrpApplicantEvent::txLvAll);
    mrpSm.applicantSm()->handleApplicantEvent(record);
  });
  if (context.sendTxLvAll()) mrpSm.mrpLib()->mrpSendLeaveAll(type, intfId_);
  context.sendTxLvAllIs(false);
}

}  // namespace Mrp
