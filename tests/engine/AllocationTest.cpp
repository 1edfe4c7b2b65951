// Packets that cannot be had, at every place of a scenario in turn: nothing aborts, each failure is
// told, and once there is memory again both sides hold what the other declares.

#include "platform/embedded/Wire.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

using Embedded::Wire;

const IntfId kPort("port1");

// left:port1 ----- wire ----- port1:right, and a second port of the left, which floods.
struct Scenario {
  explicit Scenario(const App& of) : app(of) {
    left.port(2);
    left.sw->trace().levelIs(4);
    left.sw->trace().sinkAdd([this](const Trace::Entry& entry) {
      if (entry.text.starts_with("Packet allocation failed")) ++traced;
    });
  }

  bool vlans() const { return app.application == MrpApplication::mvrp; }
  void declare(Station& st, unsigned n, Event event) {
    const std::uint8_t type = vlans() || &st == &left ? 1 : 3;
    const Octets value = vlans()     ? vlan(static_cast<std::uint16_t>(n))
                         : type == 1 ? talker(n)
                                     : listener(n, ready);
    st.request(kPort, type, value, event);
  }

  // Everything that takes a packet: declarations and withdrawals, LeaveAlls of both sides with
  // their answers, full packets, copies of flooded frames, the reception of all that.
  void play() {
    for (const unsigned n : {10u, 11u, 13u}) declare(left, n, n == 13u ? New : JoinIn);
    for (const unsigned n : {11u, 12u}) declare(right, n, JoinIn);
    if (!vlans()) left.request(kPort, 4, domain(6, 3, 2), JoinIn);
    left.clock->run(0.35);
    for (unsigned n = 0; n < 320; ++n) declare(left, 100 + 7 * n, JoinIn);
    left.clock->run(0.35);
    left.status->floodIs(true);
    declare(right, 14, JoinIn);
    left.clock->run(0.3);
    left.status->floodIs(false);
    left.engine->sendLeaveAll(kPort);
    right.clock->run(1);
    declare(left, 10, Lv);
    declare(right, 12, Lv);
    for (unsigned n = 0; n < 300; ++n) declare(left, 100 + 7 * n, Lv);
    left.clock->run(0.3);
    closed = dropped();  // the count goes with the endpoint
    left.lib->mrpInterfaceDisable(kPort);
    left.clock->run(0.5);
    left.lib->mrpInterfaceEnable(kPort);
    for (const unsigned n : {11u, 13u}) declare(left, n, JoinIn);
    left.clock->runUntil(15);
  }

  // Attributes registered on a side.
  static std::string registered(const Station& st) {
    std::string text;
    for (std::uint8_t type = 1; type <= st.app.types; ++type) {
      for (const std::uint64_t key : st.registered(kPort, type)) {
        text += " " + std::to_string(type) + ":" + std::to_string(key);
      }
    }
    return text;
  }
  // Frames that found no packet, on both ports.
  std::uint64_t dropped() const {
    std::uint64_t n = closed;
    for (const unsigned port : {1u, 2u}) {
      if (auto* pam = left.sw->endpoint(IntfId("port" + std::to_string(port)))) {
        n += pam->counters().dropped;
      }
    }
    return n;
  }

  App app;
  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  Station left{app, Station::Start::active, clock}, right{app, Station::Start::active, clock};
  Wire wire{*left.sw, left.port(1), *right.sw, right.port(1), {.delay = 1e-3}};
  std::uint64_t traced = 0;
  std::uint64_t closed = 0;
};

using Platform::Host::PktAllocator;

// The switch has two allocators: of packets to be sent, and of received ones.
struct Case {
  const char* name;
  App app;
  bool received;
  PktAllocator& of(const Scenario& s) const {
    return received ? s.left.sw->bus()->rxPkts() : s.left.sw->pktAllocator();
  }
  // Printed by octet, the padding would count as a read of uninitialised memory.
  friend void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }
};

class AllocationTest : public EngineTest, public testing::WithParamInterface<Case> {
 protected:
  AllocationTest() {
    Scenario whole(GetParam().app);
    whole.play();
    const PktAllocator::Counters counters = GetParam().of(whole).counters();
    count_ = counters.created + counters.reused;
    left_ = Scenario::registered(whole.left);
    right_ = Scenario::registered(whole.right);
  }
  // The scenario with `n` failures after so many `successes`.
  void play(Scenario& s, std::uint32_t n, std::uint64_t successes) {
    PktAllocator& allocator = GetParam().of(s);
    allocator.failNext(n, successes);
    s.play();
    failed_ = allocator.counters().failed;
    EXPECT_GT(failed_, 0u);
    EXPECT_EQ(GetParam().received ? s.dropped() : s.traced, failed_) << "each is told";
    allocator.failNext(0);
  }
  // Two LeaveAll periods after the last failure, whatever it hit.
  void expectConverged(Scenario& s) const {
    s.clock->run(25.5);
    EXPECT_EQ(Scenario::registered(s.left), left_);
    EXPECT_EQ(Scenario::registered(s.right), right_);
    EXPECT_EQ(s.left.engine->counters()->numOfMalformedPkts(), 0u);
    EXPECT_EQ(s.right.engine->counters()->numOfMalformedPkts(), 0u);
    for (std::uint8_t type = 1; type <= s.app.types; ++type) {
      EXPECT_GT(s.left.leaveAllDue(kPort, type), s.clock->now().value());
    }
    s.left.lib->mrpInterfaceDisable(kPort);
    s.left.engine = nullptr;
    EXPECT_EQ(GetParam().of(s).counters().inUse(), 0u) << "no packet is kept for ever";
  }

  std::uint64_t count_ = 0, failed_ = 0;
  std::string left_, right_;
};
INSTANTIATE_TEST_SUITE_P(Packets, AllocationTest,
                         testing::Values(Case{"mvrp_sent", kMvrp, false},
                                         Case{"mvrp_received", kMvrp, true},
                                         Case{"msrp_sent", kMsrp, false},
                                         Case{"msrp_received", kMsrp, true}),
                         [](const auto& c) { return c.param.name; });

// Each packet in turn, or all of them from it on until 15 s: after the first LeaveAlls of both
// sides.
TEST_P(AllocationTest, PacketsOfAScenarioCannotBeHad) {
  ASSERT_GT(count_, 10u);
  ASSERT_NE(left_, "");
  ASSERT_NE(right_, "");
  for (const std::uint32_t failures : {1u, UINT32_MAX}) {
    for (std::uint64_t n = 0; n < count_ && !HasFailure(); ++n) {
      SCOPED_TRACE(std::to_string(failures) + " from packet " + std::to_string(n));
      Scenario s(GetParam().app);
      play(s, failures, n);
      expectConverged(s);
    }
  }
}

}  // namespace
}  // namespace EngineTest
