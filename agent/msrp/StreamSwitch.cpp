#include "agent/msrp/StreamSwitch.h"

namespace Mrp {

using Platform::EthAddr;
using Platform::IntfId;
using Platform::VlanId;

PortSet StreamSwitch::reservation(std::uint16_t vlan, EthAddr address) const {
  const auto found = reservations_.find({vlan, address});
  return found == reservations_.end() ? PortSet() : found->second;
}

BitsPerSecond StreamSwitch::slope(IntfId intf, SrClass srClass) const {
  const auto found = slopes_.find({intf, srClass});
  return found == slopes_.end() ? 0 : found->second;
}

bool StreamSwitch::boundary(IntfId intf, SrClass srClass) const {
  return !inside_.contains({intf, srClass});
}

// --- Settings ------------------------------------------------------------------------------------

void StreamSwitch::portIs(IntfId intf, const StreamPort& port) {
  ports_[intf] = port;
  changed(intf);
}

void StreamSwitch::egressIs(IntfId intf, std::uint16_t vlan, VlanEgress egress) {
  egress_[{intf, vlan}] = egress;
  changed(intf);
}

void StreamSwitch::addressIs(IntfId intf, const Address& address, bool registered) {
  if (registered) {
    addresses_.insert({intf, address});
  } else {
    addresses_.erase({intf, address});
  }
  changed(intf);
}

// Room for an entry is room on every port that may be asked for one.
void StreamSwitch::entryLimitIs(std::size_t limit, ReservationResult refusal) {
  entryLimit_ = limit;
  refusal_ = refusal;
  std::set<IntfId> ports;
  for (const auto& [intf, srClass] : inside_) ports.insert(intf);
  for (const IntfId intf : ports) changed(intf);
}

// --- StreamForwarding ----------------------------------------------------------------------------

ReservationResult StreamSwitch::reservationIs(VlanId vlan, EthAddr address, const PortSet& ports) {
  const Address key{vlan.value(), address};
  if (ports.empty()) {
    reservations_.erase(key);
  } else {
    const bool full = entryLimit_ != 0 && reservations_.size() >= entryLimit_;
    if (full && !reservations_.contains(key)) return refusal_;
    reservations_[key] = ports;
  }
  if (onReservation) onReservation(key.first, address, ports);
  return ReservationResult::ok;
}

bool StreamSwitch::idleSlopeIs(IntfId intf, SrClass srClass, BitsPerSecond slope) {
  if (slope > slopeLimit_) return false;
  slopes_[{intf, srClass}] = slope;
  if (onSlope) onSlope(intf, srClass, slope);
  return true;
}

void StreamSwitch::domainBoundaryIs(IntfId intf, SrClass srClass, bool boundary) {
  if (boundary) {
    inside_.erase({intf, srClass});
  } else {
    inside_.insert({intf, srClass});
  }
  if (onBoundary) onBoundary(intf, srClass, boundary);
}

StreamPort StreamSwitch::streamPort(IntfId intf) const {
  const auto found = ports_.find(intf);
  return found == ports_.end() ? StreamPort() : found->second;
}

VlanEgress StreamSwitch::vlanEgress(IntfId intf, VlanId vlan) const {
  const auto found = egress_.find({intf, vlan.value()});
  return found == egress_.end() ? VlanEgress::allowed : found->second;
}

bool StreamSwitch::addressRegistered(IntfId intf, VlanId vlan, EthAddr address) const {
  return addresses_.contains({intf, {vlan.value(), address}});
}

}  // namespace Mrp
