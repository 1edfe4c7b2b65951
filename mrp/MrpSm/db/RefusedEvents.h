#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "mrp/types/PlatformNames.h"
#include "platform/interface/IntfId.h"
#include "platform/time/Seconds.h"

namespace Mrp {

// Says which refusals of received events are worth a message: on each port and type the first, and
// then one in each interval in which there are any.
class RefusedEvents {
 public:
  static constexpr Seconds kInterval{10.0};

  // Notes one refusal. Gives the refusals since the last message, this one included, when a message
  // is due, otherwise 0.
  std::uint64_t add(IntfId intf, std::uint8_t type, Seconds now) {
    Untold& untold = untold_[{intf.value(), type}];
    ++untold.events;
    if (now < untold.until) return 0;
    untold.until = now + kInterval;
    return std::exchange(untold.events, 0);
  }

 private:
  struct Untold {
    std::uint64_t events = 0;
    Seconds until;  // nothing is due before this
  };
  std::map<std::pair<std::uint64_t, std::uint8_t>, Untold> untold_;
};

}  // namespace Mrp
