// Admission of a received frame (IEEE 802.1Q 10.8.1): destination address and EtherType, behind at
// most one tag.

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/rx/FutureVersion.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

constexpr std::size_t kEthHeader = 14;
constexpr std::size_t kTag = 4;
constexpr std::size_t kEtypeAt = 12;
constexpr std::uint16_t kTpid8021q = 0x8100;

}  // namespace

void MrpIntfPamSm::handleMrpdu() {
  MRP_ASSERT_TEXT(initialized_, "initialized()");
  MrpSm& mrpSm = mrpPamSm_.mrpSm();
  const Ptr<Pkt> pkt = pam_->rxPkt();
  if (!pkt || !mrpSm.active()) return;
  MRP_TRACE(mrpSm.trace(), 8,
            "Received frame on interface " << intfId_ << " (length=" << pkt->size() << ")");
  MRP_ASSERT_TEXT(pkt->size() >= kEthHeader, "bytes() >= sizeof( EthHdr )");
  if (!admit(*pkt)) {
    mrpSm.mrpCounters()->numOfPktsProcessedInc();
    return;
  }
  if (mrpSm.mrpStatus()->flood()) flood(*pkt);
  pkt->headDel(kEthHeader);
  mrpSm.parseContext()->intfIdIs(intfId_);
  ++mrpSm.framesInProgress_;
  mrpSm.parseMrpdu(*pkt);
  mrpSm.processParsedAttributes(intfId_);
  mrpSm.onFrame_.notify(intfId_);
  --mrpSm.framesInProgress_;
  mrpSm.mrpCounters()->numOfPktsProcessedInc();
  mrpSm.mrpTransmitTxAttributes();
  rxFutureVersionPdu() = false;
}

// Checks the addresses, counts what is wrong and removes a tag: four octets from the head, which
// leaves the EtherType where that of an untagged frame stands.
bool MrpIntfPamSm::admit(Pkt& frame) {
  MrpSm& mrpSm = mrpPamSm_.mrpSm();
  const MrpLib& lib = *mrpSm.mrpLib();
  const EthAddr dmac = lib.applicationMacAddr();
  if (!std::equal(dmac.octets().begin(), dmac.octets().end(), frame.data())) {
    MRP_TRACE(mrpSm.trace(), 2, "Received frame with incorrect DMAC -- ignoring");
    mrpSm.mrpCounters()->numOfIncorrectDmacInc();
    return false;
  }
  std::uint16_t etype = readU16(frame.data() + kEtypeAt);
  if (etype == kTpid8021q && frame.size() >= kEthHeader + kTag) {
    MRP_TRACE(mrpSm.trace(), 6,
              "Received 802.1Q-tagged frame with VLAN ID "
                  << (readU16(frame.data() + kEthHeader) & 0xFFF));
    etype = readU16(frame.data() + kEtypeAt + kTag);
    frame.headDel(kTag);
  }
  if (etype != lib.applicationEtype()) {
    MRP_TRACE(mrpSm.trace(), 4, "Received frame with incorrect EtherType -- ignoring");
    mrpSm.mrpCounters()->numOfIncorrectEtypeInc();
    return false;
  }
  return true;
}

// The copy is of what stands in the buffer: of a tagged frame, what its removal of the tag left.
void MrpIntfPamSm::flood(const Pkt& frame) {
  MrpSm& mrpSm = mrpPamSm_.mrpSm();
  const Ptr<Pkt> copy = mrpSm.pktManager().pktIs(0, frame.size());
  if (!copy) {
    MRP_TRACE(mrpSm.trace(), 4, "Packet allocation failed for a flooded copy on " << intfId_);
    return;
  }
  copy->append(frame.octets());
  mrpPamSm_.floodMsrpdu(intfId_, copy);
}

}  // namespace Mrp
