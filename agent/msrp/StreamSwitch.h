#pragma once

#include <functional>
#include <limits>
#include <map>
#include <set>
#include <tuple>

#include "agent/msrp/StreamForwarding.h"

namespace Mrp {

// A switch in memory: what it is told can be read, and all that it answers can be set.
class StreamSwitch : public StreamForwarding {
 public:
  using Address = std::pair<std::uint16_t, Platform::EthAddr>;  // VLAN and address
  using SlopeKey = std::pair<Platform::IntfId, SrClass>;

  // --- As told
  const std::map<Address, PortSet>& reservations() const { return reservations_; }
  PortSet reservation(std::uint16_t vlan, Platform::EthAddr address) const;
  BitsPerSecond slope(Platform::IntfId intf, SrClass srClass) const;
  bool boundary(Platform::IntfId intf, SrClass srClass) const;

  // Called when it is told, and has taken it.
  std::function<void(std::uint16_t, Platform::EthAddr, const PortSet&)> onReservation;
  std::function<void(Platform::IntfId, SrClass, BitsPerSecond)> onSlope;
  std::function<void(Platform::IntfId, SrClass, bool)> onBoundary;

  // --- Settings
  void portIs(Platform::IntfId intf, const StreamPort& port);
  void egressIs(Platform::IntfId intf, std::uint16_t vlan, VlanEgress egress);
  void addressIs(Platform::IntfId intf, const Address& address, bool registered);
  // How many entries there may be; 0: no limit. One that is too many is refused as `refusal`.
  void entryLimitIs(std::size_t limit, ReservationResult refusal = ReservationResult::tableFull);
  // Steeper slopes are refused.
  void slopeLimitIs(BitsPerSecond limit) { slopeLimit_ = limit; }

  // --- StreamForwarding
  ReservationResult reservationIs(Platform::VlanId vlan, Platform::EthAddr address,
                                  const PortSet& ports) override;
  bool idleSlopeIs(Platform::IntfId intf, SrClass srClass, BitsPerSecond slope) override;
  void domainBoundaryIs(Platform::IntfId intf, SrClass srClass, bool boundary) override;
  StreamPort streamPort(Platform::IntfId intf) const override;
  VlanEgress vlanEgress(Platform::IntfId intf, Platform::VlanId vlan) const override;
  bool addressRegistered(Platform::IntfId intf, Platform::VlanId vlan,
                         Platform::EthAddr address) const override;
  void reactorIs(Reactor* reactor) override { reactor_ = reactor; }

 private:
  void changed(Platform::IntfId intf) {
    if (reactor_) reactor_->handleStreamPort(intf);
  }

  std::map<Address, PortSet> reservations_;
  std::map<SlopeKey, BitsPerSecond> slopes_;
  std::set<SlopeKey> inside_;  // the domain
  std::map<Platform::IntfId, StreamPort> ports_;
  std::map<std::pair<Platform::IntfId, std::uint16_t>, VlanEgress> egress_;
  std::set<std::pair<Platform::IntfId, Address>> addresses_;
  std::size_t entryLimit_ = 0;
  ReservationResult refusal_ = ReservationResult::tableFull;
  BitsPerSecond slopeLimit_ = std::numeric_limits<BitsPerSecond>::max();
  Reactor* reactor_ = nullptr;
};

}  // namespace Mrp
