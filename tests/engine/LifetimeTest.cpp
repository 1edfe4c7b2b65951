// Attributes, engines and ports that come and go, by the hundred thousand or from inside the
// engine's own calls: memory stays flat and nothing is left behind.

#include <malloc.h>

#include <cstdlib>
#include <random>

#include "tests/Slower.h"
#include "tests/engine/Support.h"

#if defined(__SANITIZE_ADDRESS__)
// Not every compiler has its header.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace EngineTest {
namespace {

// Octets of the heap in use. Some of what was freed counts as used while the C library keeps it at
// hand, hence the tolerance: sixteen octets lost in one lifecycle of twenty-four exceed it.
std::size_t heapInUse() {
#if defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#else
  const struct mallinfo2 info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
#endif
}
constexpr std::size_t kTolerance = 65536;

// MRP_LIFECYCLES=1000000 is the long form.
std::size_t lifecycles() {
  const char* text = std::getenv("MRP_LIFECYCLES");
  return text ? std::strtoul(text, nullptr, 10) : 100'000 / kSlower;
}

class LifetimeTest : public EngineTest, public testing::WithParamInterface<App> {
 protected:
  bool vlans() const { return GetParam().application == MrpApplication::mvrp; }
  Octets value(std::uint64_t n) const {
    return vlans() ? vlan(static_cast<std::uint16_t>(1 + n % 3600)) : talker(n);
  }
  Octets message(std::uint64_t first, std::size_t count, Event event, bool leaveAll = false) const {
    return pdu(
        ::EngineTest::message(GetParam(), 1, vec(value(first), Events(count, event), leaveAll)));
  }
};
INSTANTIATE_TEST_SUITE_P(Applications, LifetimeTest, testing::Values(kMvrp, kMsrp),
                         [](const auto& c) {
                           return c.param.application == MrpApplication::mvrp ? "mvrp" : "msrp";
                         });

// Streams are new in every round, so that no table may remember old keys.
TEST_P(LifetimeTest, MemoryIsFlatOverAttributesThatComeAndGo) {
  Station st(GetParam());
  st.sw->eventLog().onIs(false);
  const IntfId port = st.port(1);
  constexpr std::size_t kEach = 200, kKinds = 5, kWarmUp = 20;
  const auto requests = [&](std::uint64_t first, Event event) {
    for (std::size_t i = 0; i < kEach; ++i) st.request(port, 1, value(first + i), event);
  };
  const auto round = [&](std::uint64_t n) {
    const std::uint64_t first = n * kKinds * kEach;
    st.receive(port, message(first, kEach, JoinIn));  // registered, and left
    requests(first + kEach, JoinIn);                  // declared, and withdrawn
    requests(first + 2 * kEach, New);                 // both, and withdrawn by both
    st.receive(port, message(first + 2 * kEach, kEach, JoinMt));
    requests(first + 3 * kEach, New);  // gone again before it is committed
    requests(first + 3 * kEach, Lv);
    st.clock->run(0.3);
    ASSERT_EQ(st.committed(port, 1), 3 * kEach);
    st.receive(port, message(first, kEach, Lv));
    requests(first + kEach, Lv);
    requests(first + 2 * kEach, Lv);
    st.receive(port, message(first + 2 * kEach, kEach, Lv));
    st.clock->run(0.1);
    // Registered, asked for with a LeaveAll, and silent.
    st.receive(port, message(first + 4 * kEach, kEach, New));
    st.clock->run(0.3);
    st.receive(port, message(first, 0, New, true));
    st.clock->run(1.3);
    ASSERT_EQ(st.attributes(port), Texts{});
    ASSERT_EQ(st.committed(port, 1), 0u);
    EXPECT_EQ(st.lib->take().size(), 6 * kEach) << "each is indicated, and each taken back";
    st.sent();
  };
  std::uint64_t n = 0;
  while (n < kWarmUp && !HasFatalFailure()) round(n++);
  const std::size_t heap = heapInUse();
  const std::uint64_t packets = st.sw->pktAllocator().counters().created;
  const std::size_t rounds = kWarmUp + lifecycles() / (kEach * kKinds);
  while (n < rounds && !HasFailure()) round(n++);
  EXPECT_LE(heapInUse(), heap + kTolerance);
  EXPECT_EQ(st.sw->pktAllocator().counters().created, packets);
  EXPECT_EQ(st.sw->pktAllocator().counters().inUse(), 0u);
  RecordProperty("heap_growth_octets", std::to_string(static_cast<std::int64_t>(heapInUse()) -
                                                      static_cast<std::int64_t>(heap)));
}

// Whatever the application or the platform does to ports and attributes from inside an indication
// or a transmission, drawn at random; afterwards the engine works as on its first day.
class ReentryTest : public EngineTest, public testing::WithParamInterface<std::uint64_t> {
 protected:
  std::size_t draw(std::size_t n) { return random_() % n; }
  IntfId drawnPort() { return IntfId("port" + std::to_string(1 + draw(3))); }
  static void open(Station& st, IntfId port) {
    st.port(static_cast<unsigned>(port.name().back() - '0'));
  }
  void disturb(Station& st) {
    const IntfId port = drawnPort();
    const auto id = static_cast<std::uint16_t>(1 + draw(30));
    switch (draw(9)) {
      case 0:
        return st.lib->mrpInterfaceDisable(port);
      case 1:
        return st.lib->mrpInterfaceEnable(port);
      case 2:
        return st.sw->portDel(port);
      case 3:
        return open(st, port);
      case 4:
        return st.engine->sendLeaveAll(port);
      case 5:
        return st.lib->mrpCleanUpIntfDatabase(port);
      case 6:
        return st.lib->mrpCleanUpIntfDatabaseAttribute(port, 1, id);
      case 7:
        for (const Role role : {Role::none, Role::root, Role::alternate}) st.roleIs(port, role);
        return;
      default:
        return st.request(port, id, std::array{New, JoinIn, Lv, InternalLeave}[draw(4)]);
    }
  }
  // Not on and on: an indication inside an indication may disturb, but no deeper.
  void reenter(Station& st) {
    if (depth_ >= 2 || draw(3) != 0) return;
    ++depth_;
    disturb(st);
    --depth_;
    ++reentered_;
  }

  std::mt19937_64 random_{GetParam()};
  int depth_ = 0;
  int reentered_ = 0;
};
INSTANTIATE_TEST_SUITE_P(Seeds, ReentryTest, testing::Range<std::uint64_t>(1, 9));

TEST_P(ReentryTest, AnythingInsideIndicationsAndTransmissions) {
  Station st(kMvrp);
  st.lib->onJoin = [&](const MrpParameters& p) {
    EXPECT_TRUE(st.engine->endpoints().pam(p.intfId)) << "registered on a closed port";
    reenter(st);
    return draw(20) == 0;
  };
  st.lib->onLeave = [&](const MrpParameters&) { reenter(st); };
  st.sw->onTransmit([&](IntfId, const Pkt&) {
    if (draw(4) == 0) reenter(st);
  });
  for (const unsigned n : {1u, 2u, 3u}) st.port(n);
  for (int i = 0; i < 1500; ++i) {
    const Event event = std::array{JoinIn, JoinIn, JoinMt, New, Lv, Lv, Mt}[draw(7)];
    const Octets frame =
        vlans(static_cast<std::uint16_t>(1 + draw(30)), Events(draw(6), event), draw(8) == 0);
    st.receive(drawnPort(), frame, draw(3) == 0 ? 0.05 * static_cast<double>(draw(20)) : 0);
    if (draw(4) == 0) st.clock->run(0.1 * static_cast<double>(draw(8)));
    if (draw(10) == 0) open(st, drawnPort());
    if (draw(10) == 0) st.request(drawnPort(), static_cast<std::uint16_t>(1 + draw(30)), JoinIn);
  }
  EXPECT_GT(reentered_, 300);
  depth_ = 2;  // no more disturbances
  st.lib->onJoin = nullptr;
  for (const unsigned n : {1u, 2u, 3u}) {
    const IntfId port("port" + std::to_string(n));
    SCOPED_TRACE(port.name());
    open(st, port);
    st.lib->mrpInterfaceDisable(port);
    st.lib->take();
    st.clock->run(2);
    for (const std::string& line : st.lib->take())
      EXPECT_FALSE(line.ends_with(port.name())) << line;
    EXPECT_EQ(st.attributes(port), Texts{});
    EXPECT_EQ(st.records(port, 1), 0u) << "not even for a timer";
    st.lib->mrpInterfaceEnable(port);
    st.lib->take();
    st.receive(port, vlans(40, Events(3, JoinIn)));
    st.receive(port, vlans(40, {Lv}));
    st.clock->run(0.8);
    EXPECT_EQ(st.lib->take().size(), 4u);
    EXPECT_EQ(st.attributes(port).size(), 2u);
    EXPECT_GT(st.leaveAllDue(port, 1), 0);
  }
  st.engine = nullptr;
  EXPECT_EQ(st.sw->pktAllocator().counters().inUse(), 0u);
}

}  // namespace
}  // namespace EngineTest
