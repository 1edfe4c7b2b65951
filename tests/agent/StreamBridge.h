#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/msrp/MsrpBridge.h"
#include "agent/msrp/StreamSwitch.h"
#include "mrp/MrpSm/Engine.h"
#include "platform/embedded/Wire.h"
#include "tests/engine/Support.h"

namespace EngineTest {

// What a talker says of its stream. The ordinary one: class A, 80 octets once an interval.
struct TalkerOf {
  std::uint64_t id = 1;
  std::uint16_t octets = 80;
  std::uint16_t frames = 1;
  std::uint8_t priority = 3;
  std::uint8_t rank = 1;
  std::uint16_t vlan = 2;
  std::uint32_t latency = 500;
  std::uint64_t dmac = 0;  // 0: one of its own, in sequence with the identifier

  Octets value() const;
};
inline constexpr std::uint64_t kStreamAddresses = 0x91e0f0000000;

// A bridge of MSRP on a switch of its own, whose ports take every frame, and whose neighbours are
// of its domain. LeaveAlls of its own come once a day, so that neighbours need not answer them.
//
//   talker --- port1 | bridge | port2, port3, port4 --- listeners
class StreamBridge {
 public:
  explicit StreamBridge(unsigned ports = 4, Ptr<VirtualClock> onClock = makePtr<VirtualClock>(),
                        std::uint64_t address = 0x020000000000);
  ~StreamBridge();
  void start(bool standby = false);
  static IntfId intf(unsigned n) { return IntfId("port" + std::to_string(n)); }

  void port(unsigned n);
  void role(unsigned n, Stp::MstiPortStatus::Role role);
  void inDomain(unsigned n);
  StreamPort settings(unsigned n) const { return forwarding.streamPort(intf(n)); }
  void rate(unsigned n, BitsPerSecond rate);
  void capable(unsigned n, bool capable);
  void latency(unsigned n, std::uint32_t nanoseconds);

  // --- What neighbours send; each is one frame
  void receive(unsigned n, const Octets& messages);
  void advertise(unsigned n, const TalkerOf& talker, Event event = New);
  void failed(unsigned n, const TalkerOf& talker, std::uint8_t code, Event event = New);
  void listen(unsigned n, std::uint64_t id, Declaration declaration, Event event = New);
  void domain(unsigned n, std::uint8_t srClass, std::uint8_t priority, Event event = New);
  void withdraw(unsigned n, const TalkerOf& talker) { advertise(n, talker, Lv); }
  void run(double seconds) { clock->run(seconds); }

  // --- What comes of it
  // What each port's engine records declare of a stream: "1:R 2:A1500 3:F8", a talker with its
  // latency or its code, a listener by its letters.
  std::string declared(std::uint64_t id = 1) const;
  std::string entry(std::uint64_t id = 1) const;  // ports of its reservation, "2 3"
  BitsPerSecond slope(unsigned n, SrClass c = SrClass::a) const {
    return forwarding.slope(intf(n), c);
  }
  // What the switch was told since the last call: "slope 2 6 7872000", "entry 1: 2 3".
  Texts told() { return std::exchange(told_, {}); }
  // Decoded frames sent on a port since the last call, after what is open has left.
  Texts sent(unsigned n);
  // Failure information of a Talker Failed on a port.
  FailureInformation failure(unsigned n, std::uint64_t id = 1) const;
  std::size_t count(unsigned n, TalkerKind kind) const;
  std::string review() const { return bridge->propagation().review(); }

  Ptr<VirtualClock> clock;
  Switch sw{clock};
  Ptr<MrpConfig> config = makePtr<MrpConfig>();
  Ptr<MrpStatus> status = makePtr<MrpStatus>();
  StreamSwitch forwarding;
  Ptr<MsrpBridge> bridge;
  Ptr<Engine> engine;

 private:
  std::uint64_t address_;
  Texts told_;
  std::map<IntfId, Texts> sent_;
};

}  // namespace EngineTest
