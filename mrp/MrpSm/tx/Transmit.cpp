// Finishing an open packet into a frame and handing it to the port's endpoint.

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

constexpr std::size_t kEthAddrSize = 6;
constexpr std::size_t kEtypeAt = 12;
constexpr std::size_t kVersionAt = 14;
// Ethernet header and ProtocolVersion.
constexpr std::size_t kFrameHeader = 15;

// Closes the open message and the PDU; gives the octets packed, the PDU's end mark not counted.
std::size_t writeEndMarks(MrpTxPacketContext& context, MrpApplication application) {
  std::uint8_t* data = context.pkt()->data();
  std::size_t packed = mrpGetNumOfPackedBytes(context, application);
  if (context.hasMessage()) {
    writeU16(data + packed, 0);
    packed += kEndMarkSize;
    if (application == MrpApplication::msrp) {
      std::uint8_t* listLength = context.messageData() + kAttributeListLengthOffset;
      writeU16(listLength, static_cast<std::uint16_t>(readU16(listLength) + kEndMarkSize));
    }
  }
  writeU16(data + packed, 0);
  return packed;
}

}  // namespace

void MrpSm::mrpTransmitTxPacket(IntfId intf, bool second) {
  MrpTxPacketContext* context = mrpLib_->mrpTxContext(intf, second);
  if (!context) return;
  if (mrpConfig_->txSuppress()) {
    mrpLib_->mrpTxContextDel(intf, second);
    return;
  }
  Platform::Pam* pam = pamCollection_->pam(intf);
  if (!pam) {
    MRP_TRACE(trace(), 4, " Tx is being Attempted before the PAM is enabled " << intf);
    return;
  }
  const Ptr<Pkt> pkt = context->pkt();
  const std::size_t packed = writeEndMarks(*context, mrpLib_->application());
  pkt->headAdd(kFrameHeader);
  std::uint8_t* frame = pkt->data();
  std::memcpy(frame, mrpLib_->applicationMacAddr().data(), kEthAddrSize);
  std::memcpy(frame + kEthAddrSize, sourceAddr(intf).data(), kEthAddrSize);
  writeU16(frame + kEtypeAt, mrpLib_->applicationEtype());
  frame[kVersionAt] = 0;
  const std::size_t length = packed + kFrameHeader + kEndMarkSize;
  MRP_ASSERT_TEXT(length <= pkt->frontBytes(), "numOfPackedBytes <= pkt->frontBytes()");
  pkt->sizeIs(length);
  mrpLib_->mrpCurrentTxIntfIs(intf);
  mrpCounters_->numOfPktsTransmittedInc();
  MRP_TRACE(trace(), 8, " A pkt is sent on : " << intf);
  // The context goes first: whoever declares something from inside the endpoint opens a new packet.
  mrpLib_->mrpTxContextDel(intf, second);
  pam->txPktIs(pkt);
}

void MrpSm::mrpTransmitTxAttributes(IntfId intf) {
  mrpTransmitTxPacket(intf, false);
  mrpTransmitTxPacket(intf, true);
}

void MrpSm::mrpTransmitTxAttributes() {
  mrpLib_->mrpTxPacketContext().walk(
      [this](IntfId intf, const Ptr<MrpTxPacketContext>&) { mrpTransmitTxAttributes(intf); });
}

EthAddr MrpSm::sourceAddr(IntfId intf) const {
  const Platform::EthPhyIntfStatus* status = ethPhyIntfStatusDir_->ethPhyIntfStatus(intf);
  return status ? status->addr : brConfig_->bridgeMacAddr();
}

}  // namespace Mrp
