// Admission of a received frame (IEEE 802.1Q 10.8.1): destination address and EtherType, behind at
// most one tag.

#include <new>

#include "mrp/MrpSm/pdu/MrpduLayout.h"
#include "mrp/MrpSm/rx/FutureVersion.h"
#include "mrp/MrpSm/rx/Receiver.h"
#include "platform/Assert.h"
#include "platform/packet/EthFrame.h"

namespace Mrp {
namespace {

namespace Frame = Platform::EthFrame;

}  // namespace

void Receiver::receive(IntfId intf, Pkt& frame, const Listens& listens) {
  MRP_TRACE(env_.trace, 8,
            "Received frame on interface " << intf << " (length=" << frame.size() << ")");
  MRP_ASSERT_TEXT(frame.size() >= Frame::kHeader, "bytes() >= sizeof( EthHdr )");
  if (env_.observed()) {
    const auto octets = std::as_const(frame).octets();
    env_.observe(&MrpObserver::frame,
                 {MrpObserver::Direction::received, intf, Frame::sourceOf(octets), octets});
  }
  if (!admit(intf, frame, listens)) {
    env_.counters->numOfPktsProcessedInc();
    return;
  }
  if (env_.status.flood()) port_.flood(intf, frame);
  frame.headDel(Frame::kHeader);
  env_.context->intfIdIs(intf);
  try {
    act(intf, frame);
  } catch (const std::bad_alloc&) {
    forget();
    outOfMemory({intf, 0, 0});
  } catch (...) {
    forget();
    throw;
  }
}

void Receiver::act(IntfId intf, Pkt& frame) {
  intf_ = intf;
  closed_ = false;
  ++busy_;
  parseMrpdu(frame);
  processParsedAttributes(intf);
  port_.frameDone(intf);
  --busy_;
  intf_ = IntfId();
  env_.counters->numOfPktsProcessedInc();
  machines_.outbox.flush();
  rxFutureVersionPdu() = false;
}

// After an exception: what the frame has not come to is dropped, and it counts as one processed.
void Receiver::forget() {
  if (busy_ > 0) {
    --busy_;
    env_.counters->numOfPktsProcessedInc();
  }
  intf_ = IntfId();
  staged_.delAll();
  queue_.clear();
  firstQueue_.clear();
  rxLeaveAll_.clear();
  recycled_ = false;
  rxFutureVersionPdu() = false;
}

void Receiver::outOfMemory(const MrpAttribute& attribute) const {
  MRP_TRACE(env_.trace, 4, " Memory failed for " << attribute);
  env_.discarded(MrpObserver::Reason::outOfMemory, attribute);
}

// Checks the addresses, counts what is wrong and removes a tag: four octets from the head, which
// leaves the EtherType where that of an untagged frame stands.
bool Receiver::admit(IntfId intf, Pkt& frame, const Listens& listens) {
  const auto& address = listens.address.octets();
  if (!std::equal(address.begin(), address.end(), frame.data())) {
    MRP_TRACE(env_.trace, 2, "Received frame with incorrect DMAC -- ignoring");
    env_.counters->numOfIncorrectDmacInc();
    env_.discarded(MrpObserver::Reason::destination, {intf, 0, 0});
    return false;
  }
  std::uint16_t etype = readU16(frame.data() + Frame::kEtherType);
  if (etype == Frame::kTpid8021q && frame.size() >= Frame::kHeader + Frame::kTag) {
    MRP_TRACE(env_.trace, 6,
              "Received 802.1Q-tagged frame with VLAN ID "
                  << (readU16(frame.data() + Frame::kHeader) & 0xFFF));
    etype = readU16(frame.data() + Frame::kEtherType + Frame::kTag);
    frame.headDel(Frame::kTag);
  }
  if (etype != listens.etherType) {
    MRP_TRACE(env_.trace, 4, "Received frame with incorrect EtherType -- ignoring");
    env_.counters->numOfIncorrectEtypeInc();
    env_.discarded(MrpObserver::Reason::etherType, {intf, 0, 0});
    return false;
  }
  return true;
}

}  // namespace Mrp
