#pragma once

#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "platform/Assert.h"
#include "platform/interface/IntfMap.h"

namespace Mrp {

// The open packets of all ports, at most one each.
class TxPackets {
 public:
  using Contexts = Platform::IntfMap<Platform::Ptr<MrpTxPacketContext>>;

  MrpTxPacketContext* find(Platform::IntfId intf) const {
    const Platform::Ptr<MrpTxPacketContext>* context = contexts_.find(intf);
    return context ? context->get() : nullptr;
  }
  // The port's context, made with `pkt` when it has none. One that exists with another buffer is a
  // programming error.
  MrpTxPacketContext& is(Platform::IntfId intf, const Platform::Ptr<Platform::Pkt>& pkt) {
    MrpTxPacketContext* context = find(intf);
    if (!context) {
      const auto made = Platform::makePtr<MrpTxPacketContext>(intf, pkt);
      contexts_.is(intf) = made;
      context = made.get();
    }
    MRP_ASSERT_TEXT(context->pkt() == pkt, "a context's packet is never replaced");
    return *context;
  }
  void del(Platform::IntfId intf) { contexts_.del(intf); }
  void delAll() { contexts_.delAll(); }
  const Contexts& contexts() const { return contexts_; }

 private:
  Contexts contexts_;
};

}  // namespace Mrp
