// Memory that cannot be had while a frame is received, at every allocation of a scenario in turn:
// the engine lives, its records are in order, and the same frame later registers everything.

#include <cstdlib>
#include <new>

#include "mrp/MrpSm/MrpObserver.h"
#include "tests/engine/Support.h"

namespace {

// Allocations fail while `armed`: all from the number `from` on, `count` of them.
struct Failures {
  bool armed = false;
  std::uint64_t seen = 0, from = 0, count = 0, failed = 0;

  bool next() {
    if (!armed) return false;
    const std::uint64_t number = seen++;
    if (number < from || number - from >= count) return false;
    ++failed;
    return true;
  }
} failures;

void* allocated(std::size_t size, std::size_t alignment) {
  if (!failures.next()) {
    const std::size_t whole = (size + alignment - 1) / alignment * alignment;
    if (void* memory = std::aligned_alloc(alignment, whole ? whole : alignment)) return memory;
  }
  throw std::bad_alloc();
}

}  // namespace

// For the whole program; without failures they do what they always do.
void* operator new(std::size_t size) { return allocated(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocated(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
  return operator new(size);
} catch (const std::bad_alloc&) {
  return nullptr;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace EngineTest {
namespace {

// Failures begin where the engine begins: what brings the frame to it is the platform's.
class ArmedByFrame final : public MrpObserver {
 public:
  void frame(const Frame& frame) override {
    if (frame.direction == Direction::received) failures.armed = true;
  }
  void discard(const Discard& discard) override {
    if (discard.reason == Reason::outOfMemory || discard.reason == Reason::noPacket) ++told;
  }
  std::uint64_t told = 0;
};

// The application takes memory too, to note what it is told.
struct Scenario {
  explicit Scenario(const App& of) : app(of) { st.engine->observerIs(&observer); }
  ~Scenario() { st.engine->observerIs(nullptr); }

  // First and repeated frames, ascending and not, a LeaveAll that is answered, a leave.
  std::vector<Octets> frames() const {
    if (app.application == MrpApplication::mvrp) {
      const Octets scattered =
          vec(vlan(3000), {New}) + vec(vlan(70), {JoinIn, JoinMt}) + vec(vlan(10), {JoinIn});
      return {
          vlans(10, {JoinIn, New, JoinIn, JoinIn}), vlans(10, {JoinIn, New, JoinIn, JoinIn}),
          pdu(message(app, 1, scattered)),          vlans(10, {JoinIn, JoinIn, Lv, JoinIn}, true),
          pdu(message(app, 1, scattered)),          vlans(12, {JoinIn})};
    }
    const Octets all = pdu(
        message(app, 1,
                vec(talker(0x70), {JoinIn, New}) + vec(talker(0x10), {JoinIn, JoinIn, JoinIn})) +
        message(app, 2, vec(failed(0x90), {JoinIn})) +
        message(app, 3, vec(stream(0x10), {JoinIn, New}, false, {ready, ready})) +
        message(app, 4, vec(domain(5, 2, 2), {JoinIn, JoinIn})));
    const Octets leaveAlls = pdu(message(app, 1, vec(talker(0x10), {JoinIn, Lv}, true)) +
                                 message(app, 3, vec(stream(0x10), {JoinIn}, true, {ready})));
    return {all,       all,
            leaveAlls, streams(1, talker(0x500), Events(30, JoinIn)),
            all,       streams(1, talker(0x500), Events(30, JoinIn))};
  }
  void play() {
    for (const Octets& octets : frames()) {
      st.receive(port, octets);
      failures.armed = false;
    }
  }
  // What is registered, whatever the Applicant makes of it.
  Texts registered() const {
    Texts texts;
    for (std::uint8_t type = 1; type <= app.types; ++type) {
      for (const std::uint64_t key : st.registered(port, type)) {
        texts.push_back(std::to_string(type) + ":" + keyText(app, type, key));
      }
    }
    return texts;
  }
  // The records agree with themselves: what a walk meets is found, and counts are of what is there.
  void expectInOrder() const {
    st.status->application(app.application)->walkTypes([](MrpIntfTypeApplicant& types) {
      std::size_t all = 0, visible = 0, adds = 0, declared = 0;
      std::uint64_t last = 0;
      types.walk(AttrTable::kPresent, [&](MrpAttrDatabase& record) {
        const std::uint64_t key = record.attributeKey();
        EXPECT_TRUE(all == 0 || last < key);
        EXPECT_EQ(types.any(key), &record) << key;
        EXPECT_EQ(types.visible(key), record.visible() ? &record : nullptr) << key;
        EXPECT_TRUE(!record.visible() || !record.value().empty() || record.atRest()) << key;
        ++all;
        visible += record.visible();
        adds += record.pendingAdd();
        declared += record.onlyDeclared();
        last = key;
      });
      EXPECT_EQ(types.visibleCount(), visible);
      EXPECT_EQ(types.pendingAdds(), adds);
      EXPECT_EQ(types.heldByPeer(), all - declared);
      return true;
    });
  }

  App app;
  ArmedByFrame observer;
  Station st{app};
  IntfId port = st.port(1);
};

class OutOfMemoryTest : public EngineTest, public testing::WithParamInterface<App> {
 protected:
  // From the allocation `from` on, `count` fail. False when the scenario has fewer.
  bool run(std::uint64_t from, std::uint64_t count) {
    Scenario s(GetParam());
    failures = {.from = from, .count = count};
    s.play();
    const std::uint64_t failed = failures.failed;
    failures = {};
    s.expectInOrder();
    EXPECT_EQ(s.st.engine->counters()->numOfPktsProcessed(), s.frames().size());
    EXPECT_FALSE(s.st.engine->frameInProgress());
    told_ += s.observer.told;

    s.play();
    failures = {};
    EXPECT_EQ(s.registered(), expected_);
    s.expectInOrder();
    EXPECT_EQ(s.st.engine->counters()->numOfPktsProcessed(), 2 * s.frames().size());
    EXPECT_EQ(s.st.engine->counters()->numOfMalformedPkts(), 0u);
    s.st.clock->run(40);
    for (std::uint8_t type = 1; type <= s.app.types; ++type) {
      EXPECT_EQ(s.st.records(s.port, type), 0u) << "what nobody declares has gone";
    }
    return failed > 0;
  }
  OutOfMemoryTest() {
    Scenario whole(GetParam());
    whole.play();
    failures = {};
    whole.play();
    failures = {};
    expected_ = whole.registered();
  }

  Texts expected_;
  std::uint64_t told_ = 0;
};
INSTANTIATE_TEST_SUITE_P(Both, OutOfMemoryTest, testing::Values(kMvrp, kMsrp), [](const auto& of) {
  return of.param.application == MrpApplication::mvrp ? "mvrp" : "msrp";
});

TEST_P(OutOfMemoryTest, EachAllocationFailsInTurn) {
  ASSERT_GE(expected_.size(), 7u);
  std::uint64_t n = 0;
  while (!HasFailure() && run(n, 1)) ++n;
  EXPECT_GT(n, 10u);
  EXPECT_GE(told_, n / 2) << "what is lost is told";
}

TEST_P(OutOfMemoryTest, ThereIsNoneFromOneOnUntilTheScenarioEnds) {
  std::uint64_t n = 0;
  while (!HasFailure() && run(n, UINT64_MAX)) ++n;
  EXPECT_GT(n, 10u);
  EXPECT_GE(told_, n / 2) << "what is lost is told";
}

}  // namespace
}  // namespace EngineTest
