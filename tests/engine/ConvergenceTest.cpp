// The protocol's promise: whatever a link did to the frames, once it works again both sides hold
// exactly what the other declares.
//
//   left:port1 ----- wire ----- port1:right

#include <random>
#include <set>

#include "platform/embedded/Wire.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

using Embedded::Wire;
using Embedded::WireOptions;

struct Link {
  Link(const App& app, const WireOptions& options)
      : left(app, Station::Start::active, clock),
        right(app, Station::Start::active, clock),
        wire(*left.sw, left.port(1), *right.sw, right.port(1), options) {}

  void heal() {
    wire.lossIs(0);
    wire.duplicationIs(0);
    wire.reorderingIs(0);
  }
  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  Station left, right;
  Wire wire;
  IntfId port{"port1"};
};

using Declared = std::set<std::uint64_t>;

class ConvergenceTest : public testing::TestWithParam<std::uint64_t> {
 protected:
  // LeaveAll periods are drawn, so that the two sides do not keep step.
  Randomisation drawn{true};
};
INSTANTIATE_TEST_SUITE_P(Seeds, ConvergenceTest, testing::Range<std::uint64_t>(1, 9));

TEST_P(ConvergenceTest, StreamsWithTheirValues) {
  Link link(kMsrp, {.delay = 1e-3,
                    .loss = 0.2,
                    .duplication = 0.3,
                    .reordering = 0.3,
                    .reorderingDelay = 0.3,
                    .seed = 100 + GetParam()});
  std::mt19937_64 random(GetParam());
  Declared talkers, listeners;
  for (int i = 0; i < 300; ++i) {
    const std::uint64_t id = random() % 30;
    const bool talks = random() % 2;
    Declared& declared = talks ? talkers : listeners;
    const bool withdraw = declared.contains(id) && random() % 3;
    // Addresses that follow the stream identifiers, or do not: both ways of packing.
    const Octets value =
        talks ? talker(id, 0x91e0f0000000 + (id < 15 ? id : 3 * id)) : listener(id, ready);
    (talks ? link.left : link.right)
        .request(link.port, talks ? 1 : 3, value, withdraw ? Lv : JoinIn);
    withdraw ? void(declared.erase(id)) : void(declared.insert(id));
    link.clock->run(static_cast<double>(random() % 300) * 1e-3);
  }
  link.heal();
  link.clock->run(40);
  EXPECT_EQ(link.right.registered(link.port, 1), talkers);
  EXPECT_EQ(link.left.registered(link.port, 3), listeners);
  for (const std::uint64_t id : talkers) {
    const auto value = link.right.record(link.port, 1, id)->value();
    EXPECT_EQ(Octets(value.begin(), value.end()),
              talker(id, 0x91e0f0000000 + (id < 15 ? id : 3 * id)));
  }
}

}  // namespace
}  // namespace EngineTest
