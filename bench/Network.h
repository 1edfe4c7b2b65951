#pragma once

#include <time.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "mrp/MrpSm/engine/MrpSm.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

// A switch with many ports under one engine, driven with frames that carry many attributes each.
namespace Bench {

// Octets of an MVRP frame with one vector of `count` VLANs from `first` on, all with `event`.
std::vector<std::uint8_t> vlanFrame(std::uint16_t first, std::uint16_t count, std::uint8_t event,
                                    bool leaveAll);
// The same for talker advertisements with `count` successive stream identifiers.
std::vector<std::uint8_t> talkerFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event,
                                      bool leaveAll);

class Network {
 public:
  Network(Mrp::MrpApplication application, int ports);
  ~Network();

  Mrp::MrpSm& engine() { return *engine_; }
  Mrp::MrpLib& lib() { return *lib_; }
  Platform::Embedded::VirtualClock& clock() { return *clock_; }
  const std::vector<Platform::IntfId>& ports() const { return ports_; }
  void receiveOnAll(const std::vector<std::uint8_t>& frame);
  // This station declares VLANs 1..count on every port.
  void declareVlans(std::uint16_t count);
  std::uint64_t sent() const { return sent_; }
  std::size_t records() const;

 private:
  Platform::Ptr<Platform::Embedded::VirtualClock> clock_;
  std::unique_ptr<Platform::Embedded::Switch> switch_;
  Platform::Ptr<Mrp::MrpLib> lib_;
  Platform::Ptr<Mrp::MrpConfig> config_;
  Platform::Ptr<Mrp::MrpStatus> status_;
  Platform::Ptr<Mrp::MrpSm> engine_;
  std::vector<Platform::IntfId> ports_;
  std::uint64_t sent_ = 0;
};

// Processor time that `step` takes, in seconds: other work on the machine does not count.
template <class Step>
double cpuSeconds(Step step) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  step();
  return now() - start;
}

// Nanoseconds for one visit when `count` records of one cache line each are read and written in
// order: what any design that keeps a record for each attribute pays at least.
double baselineNs(std::size_t count);

}  // namespace Bench
