#pragma once

#include "platform/interface/IntfId.h"
#include "platform/packet/Pkt.h"
#include "platform/reactor/Entity.h"

namespace Platform {

// Packet endpoint of one port: whole Ethernet frames without frame check sequence, both ways.
class MRP_API Pam : public Entity {
 public:
  // The next received frame (at least 14 octets), or null when none waits.
  virtual Ptr<Pkt> rxPkt() = 0;
  // Sends a frame. The endpoint keeps the reference; the octets must not change afterwards.
  virtual void txPktIs(Ptr<Pkt> pkt) = 0;
  // True for an Ethernet device endpoint, which alone can tell whether a frame waits.
  virtual bool ethDevPam() const = 0;
  virtual bool rxPktWaiting() const = 0;

  // Notified when a frame may be read; one notification a frame.
  Signal<>& onRxPkt() { return onRxPkt_; }

 private:
  Signal<> onRxPkt_;
};

}  // namespace Platform
