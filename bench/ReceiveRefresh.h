#pragma once

#include "bench/Network.h"

namespace Bench {

// Ports on which every VLAN from 1 on is registered, and the frame that says so again.
class RefreshedNetwork {
 public:
  RefreshedNetwork(std::size_t ports, std::uint16_t vlans);
  // Nanoseconds for an attribute when the frame is received on every port, `passes` times.
  double passNs(std::size_t passes);
  // The same for as many VLANs beyond the limit.
  double refusedNs();

 private:
  Network network_;
  std::uint16_t vlans_;
  Octets frame_;
};

}  // namespace Bench
