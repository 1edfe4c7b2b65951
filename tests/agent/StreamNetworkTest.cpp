// Streams through bridges and neighbours that are engines themselves, joined by wires.

#include <gmock/gmock.h>

#include "tests/agent/StreamBridge.h"

namespace EngineTest {
namespace {

using Platform::Embedded::Wire;
using testing::ElementsAre;

// A neighbour that declares its domains and whatever it is asked to; it answers LeaveAlls.
class Neighbour {
 public:
  Neighbour(StreamBridge& bridge, unsigned port)
      : station(kMsrp, Station::Start::active, bridge.clock) {
    station.config->leaveAllTimeIs(86400.0);
    station.config->wholeTalkersInSequenceIs(true);
    wire_ =
        std::make_unique<Wire>(bridge.sw, StreamBridge::intf(port), *station.sw, station.port(1));
    station.request(one, 4, domain(5, 2, 2), JoinIn);
    station.request(one, 4, domain(6, 3, 2), JoinIn);
  }
  void advertise(const TalkerOf& talker) { station.request(one, 1, talker.value(), New); }
  void listen(std::uint64_t id, Declaration d) { station.request(one, 3, listener(id, d), New); }
  // What it has registered of a stream: "A1500/80", a talker with its latency and frame size.
  std::string registered(std::uint64_t id) const {
    std::string text;
    for (const std::uint8_t type : {std::uint8_t{1}, std::uint8_t{2}}) {
      const MrpAttrDatabase* r = station.record(one, type, id);
      if (!r || r->registrarState() == Registrar::mt) continue;
      MsrpTalkerFailedAttribute v;
      std::ranges::copy(r->value(), reinterpret_cast<std::uint8_t*>(&v));
      const auto& t = v.talkerAdvertiseAttribute;
      text += (type == 1 ? "A" : "F" + std::to_string(v.failureInformation.failureCode) + "/") +
              std::to_string(std::uint32_t{t.accumulatedLatency}) + "/" +
              std::to_string(std::uint16_t{t.tSpec.maxFrameSize});
    }
    return text;
  }

  Station station;
  const IntfId one{"port1"};

 private:
  std::unique_ptr<Wire> wire_;
};

class StreamNetworkTest : public EngineTest {};

// talker - 1|a|2 - 1|b|2 -- 1|c|2 - listener; the link after b is too small.
TEST_F(StreamNetworkTest, FailureKeepsItsBridgeOnTheWayOn) {
  const auto clock = makePtr<VirtualClock>();
  StreamBridge a(2, clock, 0x020000000a00), b(2, clock, 0x020000000b00),
      c(2, clock, 0x020000000c00);
  const Wire ab(a.sw, a.intf(2), b.sw, b.intf(1)), bc(b.sw, b.intf(2), c.sw, c.intf(1));
  b.rate(2, 1'000'000);
  c.listen(2, 1, ready);
  a.advertise(1, {});
  clock->run(1);
  EXPECT_EQ(a.declared(), "1:AF 2:A1500");
  EXPECT_EQ(b.declared(), "1:AF 2:F1");
  EXPECT_EQ(c.declared(), "1:AF 2:F1");
  EXPECT_EQ(c.failure(2).bridgeId, 0x8000020000000b00u);
  EXPECT_EQ(a.entry() + b.entry() + c.entry(), "");
  b.rate(2, 1'000'000'000);
  clock->run(1);
  EXPECT_EQ(a.declared(), "1:R 2:A1500");
  EXPECT_EQ(c.declared(), "1:R 2:A3500");
  EXPECT_EQ(a.entry() + b.entry() + c.entry(), "222");
}

TEST_F(StreamNetworkTest, SevenBridgesInALine) {
  const auto clock = makePtr<VirtualClock>();
  std::vector<std::unique_ptr<StreamBridge>> line;
  std::vector<std::unique_ptr<Wire>> wires;
  for (unsigned n = 0; n < 7; ++n) {
    line.push_back(std::make_unique<StreamBridge>(2, clock, 0x020000000100 * (n + 1)));
    if (n == 0) continue;
    StreamBridge &left = *line[n - 1], &right = *line[n];
    wires.push_back(std::make_unique<Wire>(left.sw, left.intf(2), right.sw, right.intf(1)));
  }
  line.front()->advertise(1, {});
  clock->run(0.7);
  line.back()->listen(2, 1, ready);
  clock->run(0.7);
  EXPECT_EQ(line.back()->declared(), "1:R 2:A7500");
  for (const auto& bridge : line) {
    EXPECT_EQ(bridge->entry(), "2");
    EXPECT_EQ(bridge->review(), "");
  }
  EXPECT_EQ(line.front()->declared(), "1:R 2:A1500");
}

// Talkers whose streams and addresses follow on, and nothing else of which does: a vector carries
// the other fields of the first alone.
TEST_F(StreamNetworkTest, TalkersInSequenceKeepTheirOwnValues) {
  for (const bool whole : {true, false}) {
    StreamBridge b;
    b.config->wholeTalkersInSequenceIs(whole);
    Neighbour n(b, 2);
    b.run(0.5);
    const std::uint16_t sizes[] = {80, 800, 80, 224};
    Octets vectors;
    for (std::uint64_t id = 1; id <= 4; ++id) {
      vectors = vectors + vec(TalkerOf{.id = id, .octets = sizes[id - 1]}.value(), {New});
    }
    b.receive(1, message(kMsrp, 1, vectors));
    for (int leaveAll = 0; leaveAll < 2; ++leaveAll) {
      b.run(1);
      Texts registered;
      for (std::uint64_t id = 1; id <= 4; ++id) registered.push_back(n.registered(id));
      EXPECT_EQ(registered == (Texts{"A1500/80", "A1500/800", "A1500/80", "A1500/224"}), whole)
          << testing::PrintToString(registered);
      n.station.lib->engine()->sendLeaveAll(n.one);
    }
  }
}

TEST_F(StreamNetworkTest, LeaveAllsChangeNothing) {
  StreamBridge b;
  std::vector<std::unique_ptr<Neighbour>> neighbours;
  for (unsigned n = 1; n <= 4; ++n) neighbours.push_back(std::make_unique<Neighbour>(b, n));
  b.run(0.5);
  for (std::uint64_t id = 1; id <= 6; ++id) {
    neighbours[0]->advertise({.id = id, .octets = static_cast<std::uint16_t>(100 * id)});
    for (unsigned n = 1; n <= 3; ++n) neighbours[n]->listen(id, n == 3 ? askingFailed : ready);
    b.run(0.3);
  }
  b.rate(2, 1'000'000);
  b.run(1);
  Texts before;
  for (std::uint64_t id = 1; id <= 6; ++id) before.push_back(b.declared(id));
  EXPECT_EQ(b.declared(1), "1:RF 2:F1 3:A1500 4:A1500");
  b.told();
  b.config->leaveAllTimeIs(10.0);
  for (const auto& n : neighbours) n->station.config->leaveAllTimeIs(11.0);
  for (int tick = 0; tick < 1000; ++tick) {
    b.run(0.1);
    Texts now;
    for (std::uint64_t id = 1; id <= 6; ++id) now.push_back(b.declared(id));
    ASSERT_EQ(now, before);
  }
  EXPECT_THAT(b.told(), ElementsAre());
  EXPECT_EQ(b.review(), "");
}

}  // namespace
}  // namespace EngineTest
