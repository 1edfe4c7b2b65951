#pragma once

#include "bench/Cases.h"
#include "bench/Network.h"

namespace Bench {

// Ports that do not know any VLAN, beside as many that are populated. Every VLAN is requested on
// some of these ports, then on the next ones. Each port has declared and withdrawn them all before,
// so that the kernel's first page faults are not what is measured.
class DeclaringNetwork {
 public:
  explicit DeclaringNetwork(const Extent& extent);

  // For an attribute: the requests on the ports from number `first` on of those without VLANs, and
  // the timer that sends both packets. Withdrawing them again is not measured.
  Cost declare(std::size_t first);
  // On how many ports.
  std::size_t atOnce() const { return atOnce_; }

 private:
  void requestAll(std::size_t first, Mrp::MrpThreePackedEvent event);
  void withdrawAll(std::size_t first);

  std::size_t populated_;  // ports, and as many without VLANs
  std::size_t atOnce_;
  Network network_;
};

}  // namespace Bench
