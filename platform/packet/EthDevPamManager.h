#pragma once

#include <vector>

#include "platform/packet/EthAddr.h"
#include "platform/packet/SocketFilter.h"
#include "platform/reactor/Entity.h"

namespace Platform {

// Opens a packet endpoint in its PamCollection for every desired port that exists as a device, and
// closes it again when either ends. Programmed before it is enabled; what is programmed later holds
// for endpoints opened from then on.
class MRP_API EthDevPamManager : public Entity {
 public:
  // EtherType in host order that sockets are bound to; kAllProtocols leaves the choice to the
  // socket filter.
  static constexpr std::uint16_t kAllProtocols = 3;
  virtual void ethProtocolIs(std::uint16_t protocol) = 0;
  // Group address that the ports must listen to.
  virtual void listenAddrIs(EthAddr address) = 0;
  // Run on every received frame.
  virtual void socketFilterIs(std::vector<FilterInstruction> program) = 0;
  // Longer frames are cut to this many octets.
  virtual void maxRxPktDataIs(std::size_t octets) = 0;
  virtual void socketPerIntfIs(bool perIntf) = 0;
  virtual void enabledIs(bool enabled) = 0;
};

}  // namespace Platform
