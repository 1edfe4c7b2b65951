#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/Frames.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpCounters.h"
#include "mrp/types/MrpStatus.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

namespace Bench {

using Mrp::IntfId;
using Mrp::MrpApplication;
using Platform::Ptr;
using Platform::Seconds;

// Between ticks of the engine's timers, so that reviews and packets do not meet in one of them.
constexpr double kOffTick = 0.05;

// A switch with many ports under one engine, on virtual time.
class Network {
 public:
  struct Options {
    bool standby = false;
    // Without one, LeaveAll timers never expire while a case runs.
    double leaveAllTime = 1e6;
    Ptr<Mrp::MrpLib> lib;  // a plain one when there is none
    // Of its own when there is none.
    Ptr<Platform::Embedded::VirtualClock> clock{};
    Ptr<Mrp::MrpStatus> status;
    bool spanningTree = true;  // there is one, and none of its ports has a role
  };
  Network(MrpApplication application, std::size_t ports) : Network(application, ports, Options()) {}
  Network(MrpApplication application, std::size_t ports, const Options& options);
  ~Network();
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  Mrp::Engine& engine() { return *engine_; }
  Mrp::MrpLib& lib() { return *lib_; }
  Mrp::MrpConfig& config() { return *config_; }
  void activate() { engine_->activate(); }

  const std::vector<IntfId>& ports() const { return ports_; }
  void receive(IntfId port, const Octets& frame) { switch_->receive(port, frame); }
  void receiveOnAll(const Octets& frame);
  // The service's request for one VLAN on one port.
  void request(IntfId port, std::uint16_t vlan, Mrp::MrpThreePackedEvent event);

  const Platform::Clock& clock() const { return *clock_; }
  Seconds now() const { return clock_->now(); }
  void run(double seconds) { clock_->run(seconds); }
  void runUntil(Seconds t) { clock_->runUntil(t); }
  // To the last moment before `t`.
  void runUntilBefore(Seconds t) { clock_->runUntil(t - Seconds::fromNanoseconds(1)); }
  // The next whole tenth of a second: ticks of the engine's timers.
  Seconds nextTick() const;

  // Asks the attribute log for the octets that wait in it, as a review does before each change.
  void askLog(std::size_t times) const;

  // Frames sent, and the values of their first vectors, LeaveAlls among the vectors.
  struct Sent {
    std::uint64_t frames = 0;
    std::uint64_t values = 0;
    std::uint64_t leaveAlls = 0;
  };
  // Since the last call.
  Sent takeSent() { return std::exchange(sent_, {}); }
  const Octets& lastFrame() const { return lastFrame_; }
  // Attributes that a look-up finds on all ports.
  std::size_t attributes() const;
  // Those of them that are registered, and those whose registration is about to end.
  std::size_t registered() const { return inState(Mrp::MrpRegistrarState::in); }
  std::size_t leaving() const { return inState(Mrp::MrpRegistrarState::lv); }
  // Additions and deletions that wait for a review.
  std::size_t pending() const;

 private:
  void handleTransmit(const Platform::Pkt& pkt);
  std::size_t inState(Mrp::MrpRegistrarState state) const;
  template <class Visit>
  void eachType(Visit visit) const;

  MrpApplication application_;
  Ptr<Platform::Embedded::VirtualClock> clock_;
  std::unique_ptr<Platform::Embedded::Switch> switch_;
  Ptr<Mrp::MrpLib> lib_;
  Ptr<Mrp::MrpConfig> config_;
  Ptr<Mrp::MrpStatus> status_;
  Ptr<Mrp::Engine> engine_;
  std::vector<IntfId> ports_;
  Sent sent_;
  Octets lastFrame_;
};

}  // namespace Bench
