// Frames, settings, roles, failures and times in any order, to one bridge of streams on a switch of
// four ports. After every step what it has decided must agree with itself, no port may carry more
// than its limit, and the switch must hold what the bridge believes; in the end, with nobody
// declaring anything any more, nothing may be left.

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "agent/msrp/MsrpBridge.h"
#include "agent/msrp/StreamSwitch.h"
#include "fuzz/Check.h"
#include "fuzz/frames/Input.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpStatus.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

namespace {

using namespace Mrp;
using Fuzz::Input;
using Platform::IntfId;
using Platform::makePtr;
using Platform::Ptr;

constexpr unsigned kMaxSteps = 200;
constexpr std::size_t kPorts = 4;

class World {
 public:
  explicit World(Input& input) : in_(input) {
    config_->leaveTimeIs(0.2);
    config_->leaveAllTimeIs(1.0);
    config_->recommendedLimitsAre();
    config_->talkerAdvertiseLimitIs(40);
    config_->talkerFailedLimitIs(40);
    config_->listenerLimitIs(40);
    switch_.eventLog().onIs(false);
    forwarding_.onSlope = [this](IntfId intf, SrClass, BitsPerSecond) { checkSlope(intf); };
    for (std::size_t i = 0; i < kPorts; ++i) {
      ports_[i] = IntfId("port" + std::to_string(i + 1));
      plug(ports_[i]);
      role(ports_[i], 2);
    }
    start();
    for (const IntfId intf : ports_) bridge_->portIs(intf);
  }
  ~World() { engine_ = nullptr; }

  void run() {
    for (unsigned step = 0; step < kMaxSteps && !in_.empty(); ++step) {
      act();
      clock_->run(0);
      check();
    }
    // Settings that keep nothing; then all registrations age out.
    bridge_->recoveryIs(Platform::Seconds(1.0));
    clock_->run(5);
    check();
    CHECK(bridge_->propagation().streams().empty());
    CHECK(forwarding_.reservations().empty());
    for (const IntfId intf : ports_) CHECK(forwarding_.slope(intf, SrClass::a) == 0);
  }

 private:
  IntfId port() { return ports_[in_.octet() % kPorts]; }
  void plug(IntfId intf) {
    switch_.portIs(intf.name(), Platform::EthAddr::fromNumber(0x020000000000 + intf.value()));
  }
  void role(IntfId intf, std::uint32_t role) {
    switch_.stpStatus()
        ->childIs("stp")
        .childIs("Cist")
        .childIs(intf.name())
        .roleIs(Stp::MstiPortStatus::Role{role});
  }
  void start() {
    engine_ = nullptr;
    engine_ = engineFactory({.brConfig = switch_.bridgingConfig(),
                             .mrpLib = bridge_.get(),
                             .mrpConfig = config_,
                             .mrpStatus = status_,
                             .stpStatus = switch_.stpStatus(),
                             .brTopoConfig = switch_.bridgingTopologyConfig(),
                             .ethPhyIntfStatusDir = switch_.ethPhyIntfStatusDir(),
                             .entityManager = switch_.stateDatabase()});
    bridge_->start();
  }

  // Streams of few identifiers and addresses, so that they meet.
  void receive() {
    const IntfId intf = port();
    const unsigned what = in_.octet();
    const unsigned id = in_.octet() % 8;
    std::vector<std::uint8_t> pdu{0x01, 0x80, 0xc2, 0, 0, 0x0e, 2, 0, 0, 0, 0, 0x77, 0x22, 0xea, 0};
    const auto put = [&](std::uint64_t value, int octets) {
      while (octets-- > 0) pdu.push_back(static_cast<std::uint8_t>(value >> 8 * octets));
    };
    const unsigned type = 1 + what % 4;
    constexpr std::array<unsigned, 5> kLengths{0, 25, 34, 8, 4};
    put(type, 1);
    put(kLengths[type], 1);
    put(2 + kLengths[type] + 1 + (type == 3 ? 1 : 0) + 2, 2);
    put(what & 0x80 ? 0x2001 : 0x0001, 2);
    if (type == 4) {
      const bool a = id & 1;
      put(a ? 6 : 5, 1);
      put(id & 4 ? 4 : a ? 3 : 2, 1);
      put(2, 2);
    } else {
      put(id, 8);
    }
    if (type < 3) {
      const unsigned shape = in_.octet();
      put(0x91e0f0000000 + (shape & 1 ? id : shape >> 1 & 1), 6);
      put(shape & 4 ? 2 : shape >> 3, 2);
      put((shape >> 3 & 7) * 300, 2);
      put(shape >> 6 & 3, 2);
      put(shape & 0x10 ? 0x70 : in_.octet(), 1);
      put(in_.octet(), 4);
    }
    if (type == 2) put(0x8000020000000000, 8);
    if (type == 2) put(in_.octet(), 1);
    put((what >> 2) % 6 * 36, 1);
    if (type == 3) put((what >> 5 & 3) << 6, 1);
    put(0, 4);
    switch_.receive(intf, pdu);
  }

  void settings() {
    const IntfId intf = port();
    const unsigned how = in_.octet();
    StreamPort port = forwarding_.streamPort(intf);
    port.rate = (1 + (how & 3)) * 50'000'000u;
    port.capable = how % 5 != 0;
    port.ofClass[0].delta = 25 * (how >> 2 & 3);
    port.ofClass[1].maxLatency = how >> 4;
    forwarding_.portIs(intf, port);
    forwarding_.egressIs(intf, 2, how & 0x80 ? VlanEgress::untagged : VlanEgress::allowed);
  }

  void bridge() {
    const unsigned how = in_.octet();
    bridge_->fanInLimitIs(how & 3);
    bridge_->streamLimitIs(how >> 2 & 7);
    forwarding_.entryLimitIs(
        how >> 5 & 3, how & 0x80 ? ReservationResult::hashFull : ReservationResult::tableFull);
    bridge_->talkerPruningIs(how % 7 == 0);
    forwarding_.slopeLimitIs(how % 3 ? 1'000'000'000 : 40'000'000);
  }

  void act() {
    const unsigned what = in_.octet() % 20;
    shrinks_ = what == 11;  // a port that has become smaller is told step by step
    if (what < 11) return receive();
    switch (what) {
      case 11:
        return settings();
      case 12:
        return bridge();
      case 13: {
        const IntfId intf = port();
        return role(intf, in_.octet() % 5);
      }
      case 14:
        return clock_->run(0.1 * (in_.octet() % 16));
      case 15: {
        const IntfId intf = port();
        return bridge_->portEnabledIs(intf, !bridge_->portEnabled(intf));
      }
      case 16: {
        const IntfId intf = port();
        in_.octet() & 1 ? switch_.portDel(intf) : plug(intf);
        return;
      }
      case 17: {
        const IntfId intf = port();
        in_.octet() & 1 ? bridge_->portDel(intf) : bridge_->portIs(intf);
        return;
      }
      case 18:
        if (in_.octet() & 1) status_ = makePtr<MrpStatus>();
        return start();
      default: {
        // A frame of anything.
        const IntfId intf = port();
        std::vector<std::uint8_t> frame{0x01, 0x80, 0xc2, 0, 0,    0x0e, 2,
                                        0,    0,    0,    0, 0x77, 0x22, 0xea};
        const auto octets = in_.take(in_.octet());
        frame.insert(frame.end(), octets.begin(), octets.end());
        switch_.receive(intf, frame);
      }
    }
  }

  void checkSlope(IntfId intf) {
    const StreamPort port = forwarding_.streamPort(intf);
    const BitsPerSecond a = forwarding_.slope(intf, SrClass::a);
    const BitsPerSecond all = a + forwarding_.slope(intf, SrClass::b);
    const BitsPerSecond percent = port.ofClass[0].delta + port.ofClass[1].delta;
    CHECK(shrinks_ || 100 * all <= port.rate * percent);
  }

  void check() {
    const Streams::StreamPropagation& p = bridge_->propagation();
    CHECK(p.settled());
    CHECK(p.review().empty());
    const auto entries = p.reservations();
    CHECK(entries.size() == forwarding_.reservations().size());
    for (const ReservationState& e : entries) {
      CHECK(forwarding_.reservation(e.vlan, e.address) == e.ports);
    }
  }

  Input& in_;
  Ptr<Platform::Embedded::VirtualClock> clock_ = makePtr<Platform::Embedded::VirtualClock>();
  Platform::Embedded::Switch switch_{clock_};
  Ptr<MrpConfig> config_ = makePtr<MrpConfig>();
  Ptr<MrpStatus> status_ = makePtr<MrpStatus>();
  std::array<IntfId, kPorts> ports_;
  StreamSwitch forwarding_;
  Ptr<MsrpBridge> bridge_ = makePtr<MsrpBridge>(forwarding_, clock_);
  Ptr<Engine> engine_;
  bool shrinks_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The same input, the same run.
  static const int fixed = ::setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
  static_cast<void>(fixed);
  Input input(data, size);
  World(input).run();
  return 0;
}
