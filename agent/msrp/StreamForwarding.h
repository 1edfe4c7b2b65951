#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "agent/msrp/SrClass.h"
#include "platform/bridging/VlanId.h"
#include "platform/interface/IntfId.h"
#include "platform/packet/EthAddr.h"

namespace Mrp {

using BitsPerSecond = std::uint64_t;
// Ports in ascending order, each once.
using PortSet = std::vector<Platform::IntfId>;

enum class ReservationResult : std::uint8_t { ok, hashFull, tableFull, noResource };

enum class VlanEgress : std::uint8_t { allowed, forbidden, untagged };

// What a port can do for streams.
struct StreamPort {
  struct OfClass {
    // Share of the rate that the class may reserve beyond that of the classes above it, per cent
    // (deltaBandwidth, IEEE 802.1Q-2018 34.3).
    std::uint32_t delta = 0;
    // portTcMaxLatency (35.2.2.8.6), nanoseconds.
    std::uint32_t maxLatency = 0;

    friend bool operator==(const OfClass&, const OfClass&) = default;
  };

  BitsPerSecond rate = 1'000'000'000;
  std::uint32_t maxPayload = 1500;  // octets, the largest MaxFrameSize that the medium carries
  bool capable = true;              // of streams: full duplex, fast enough, synchronised
  std::array<OfClass, kSrClasses> ofClass{{{75, 0}, {0, 0}}};

  friend bool operator==(const StreamPort&, const StreamPort&) = default;
};

// One switch, as the bridge of MSRP tells it what to do and asks what it can.
class StreamForwarding {
 public:
  // Learns that an answer of streamPort, vlanEgress or addressRegistered may have changed, or that
  // there is room for reservations again.
  class Reactor {
   public:
    virtual void handleStreamPort(Platform::IntfId intf) = 0;

   protected:
    ~Reactor() = default;
  };

  virtual ~StreamForwarding() = default;

  // Dynamic reservation entry (8.8.7): frames of the VLAN to the address leave by these ports and
  // by no other. The whole set each time; empty removes the entry. What is refused stays as it was.
  virtual ReservationResult reservationIs(Platform::VlanId vlan, Platform::EthAddr address,
                                          const PortSet& ports) = 0;
  // operIdleSlope (34.3). False: refused, and stays as it was. A lower one is never refused.
  virtual bool idleSlopeIs(Platform::IntfId intf, SrClass srClass, BitsPerSecond slope) = 0;
  // Whether the port regenerates the priority of the class (6.9.4); every port does at first.
  virtual void domainBoundaryIs(Platform::IntfId intf, SrClass srClass, bool boundary) = 0;
  virtual StreamPort streamPort(Platform::IntfId intf) const = 0;
  virtual VlanEgress vlanEgress(Platform::IntfId intf, Platform::VlanId vlan) const = 0;
  // For talker pruning: whether the address is registered on the port, by MMRP or for ever.
  virtual bool addressRegistered(Platform::IntfId intf, Platform::VlanId vlan,
                                 Platform::EthAddr address) const = 0;
  // Not owned; null for none. At most one.
  virtual void reactorIs(Reactor* reactor) = 0;
};

}  // namespace Mrp
