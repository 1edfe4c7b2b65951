#pragma once

#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "platform/Assert.h"
#include "platform/interface/IntfMap.h"

namespace Mrp {

// The open packets of all ports, at most one each. A port's place stays when its packet has gone:
// opening the next one allocates no more than the packet.
class TxPackets {
 public:
  using Contexts = Platform::IntfMap<MrpTxPacketContext>;

  MrpTxPacketContext* find(Platform::IntfId intf) const { return contexts_.find(intf); }
  // The port's context, made with `pkt` when it has none. One that exists with another buffer is a
  // programming error.
  MrpTxPacketContext& is(Platform::IntfId intf, const Platform::Ptr<Platform::Pkt>& pkt) {
    MrpTxPacketContext& context = contexts_.is(intf, intf, pkt);
    MRP_ASSERT_TEXT(context.pkt() == pkt, "a context's packet is never replaced");
    return context;
  }
  void del(Platform::IntfId intf) { contexts_.del(intf); }
  void delAll() { contexts_.delAll(); }
  const Contexts& contexts() const { return contexts_; }

 private:
  Contexts contexts_;
};

}  // namespace Mrp
