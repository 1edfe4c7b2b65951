#pragma once

#include "bench/Measure.h"
#include "bench/Network.h"

namespace Bench {

// Ports on which every VLAN from 1 on is registered, and the frame that says so again.
class RefreshedNetwork {
 public:
  RefreshedNetwork(std::size_t ports, std::uint16_t vlans);
  // For an attribute when the frame is received on every port, `passes` times.
  Cost pass(std::size_t passes);
  // The same with an observer who counts.
  Cost observed();
  // The same with an account that is kept.
  Cost recorded();
  // The same for as many VLANs beyond the limit.
  Cost refused();

 private:
  Network network_;
  std::uint16_t vlans_;
  Octets frame_;
};

}  // namespace Bench
