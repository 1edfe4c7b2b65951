#pragma once

#include <span>
#include <vector>

#include "platform/host/PktAllocator.h"
#include "platform/interface/IntfMap.h"
#include "platform/reactor/Signal.h"
#include "platform/time/Clock.h"

namespace Platform::Embedded {

class EthDevPam;

// Where the endpoints of one switch meet the outside of its ports. Several endpoints may be open on
// a port, one for each engine; each gets every frame that its own filter accepts.
class EthDevBus final : public PtrInterface {
 public:
  explicit EthDevBus(Ptr<Clock> clock);
  ~EthDevBus() override;

  Clock& clock() const { return *clock_; }
  // Packets of received frames; apart from the switch's allocator, so that its failures do not
  // touch reception.
  Host::PktAllocator& rxPkts() { return *rxPkts_; }

  // Endpoints run their socket filters. Without, each takes every frame: the filter is one for the
  // process, so engines of several applications need it off.
  bool filters() const { return filters_; }
  void filtersIs(bool on) { filters_ = on; }

  // The endpoint opened first of those open on `intf`; null when there is none.
  EthDevPam* endpoint(IntfId intf) const;
  // Hands a frame from outside to every endpoint of `intf`, `unread` before they notify. True when
  // one of them took it.
  bool receive(IntfId intf, std::span<const std::uint8_t> frame, Seconds unread);
  // Notified for each frame that an endpoint sends. The packet may be kept; its octets stay.
  Signal<IntfId, const Pkt&>& onTransmit() { return onTransmit_; }

  // For endpoints.
  void endpointIs(EthDevPam& pam);
  void endpointDel(EthDevPam& pam);

 private:
  Ptr<Clock> clock_;
  Ptr<Host::PktAllocator> rxPkts_;
  IntfMap<std::vector<EthDevPam*>> endpoints_;
  Signal<IntfId, const Pkt&> onTransmit_;
  bool filters_ = true;
};

}  // namespace Platform::Embedded
