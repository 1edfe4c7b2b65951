#pragma once

#include "bench/Measure.h"
#include "bench/Network.h"

namespace Bench {

// Ports on which every VLAN from 1 on is declared by this station and registered by its neighbours,
// and whose LeaveAll timers all expire at once every ten seconds.
class DeclaredNetwork {
 public:
  // Whether the attributes are made port by port, or VLAN by VLAN across the ports.
  enum class Order { portByPort, vlanByVlan };
  DeclaredNetwork(std::size_t ports, std::uint16_t vlans, Order order = Order::portByPort);

  // For an attribute, of `cycles` expiries. In between the neighbours join again, which is not
  // measured.
  Cost expiry(std::size_t cycles);

  // The frame that the last expiry sent last.
  const Octets& lastFrame() const { return lastFrame_; }

 private:
  void rejoin();

  Network network_;
  std::size_t attributes_;
  Octets frame_;
  Octets lastFrame_;
  Seconds due_ = kPeriod;
  static constexpr double kPeriod = 10.0;
};

}  // namespace Bench
