// Parts of the propagation of streams by themselves, and all of it at scale.

#include "agent/msrp/StreamPropagation.h"

#include <gtest/gtest.h>

#include "agent/msrp/StreamSwitch.h"
#include "platform/embedded/VirtualClock.h"

namespace {

using namespace Mrp;
using namespace Mrp::Streams;

TEST(ListenerMerge, CommutesAndAssociates) {
  using enum MsrpListenerEvent;
  constexpr MsrpListenerEvent all[] = {ignore, askingFailed, ready, readyFailed};
  for (const auto a : all) {
    EXPECT_EQ(merged(a, ignore), a);
    EXPECT_EQ(merged(a, a), a);
    for (const auto b : all) {
      EXPECT_EQ(merged(a, b), merged(b, a));
      for (const auto c : all) EXPECT_EQ(merged(merged(a, b), c), merged(a, merged(b, c)));
    }
  }
  EXPECT_EQ(merged(askingFailed, ready), readyFailed);
}

TEST(Bandwidth, NeedsOfTheManual) {
  const auto need = [](std::uint16_t octets, SrClass c, std::uint32_t overhead = kFrameOverhead) {
    Tspec tSpec;
    tSpec.maxFrameSize = octets;
    tSpec.maxIntervalFrames = std::uint16_t{1};
    return bandwidthNeeded(tSpec, c, overhead);
  };
  EXPECT_EQ(need(800, SrClass::a), 53'952'000u);
  EXPECT_EQ(need(1500, SrClass::b), 49'376'000u);
  EXPECT_EQ(need(10, SrClass::a), need(42, SrClass::a)) << "padded";
  EXPECT_EQ(need(46, SrClass::a, 42), 5'632'000u);
  // A share of an odd rate is compared exactly: 75 % of 133,333,333 is 99,999,999.75.
  StreamPort port;
  port.rate = 133'333'333;
  PortBandwidth bandwidth;
  bandwidth.limitsIs(port);
  EXPECT_TRUE(bandwidth.available(1, SrClass::a).fits(99'999'999));
  EXPECT_FALSE(bandwidth.available(1, SrClass::a).fits(100'000'000));
  port.rate = ~BitsPerSecond{0};
  bandwidth.limitsIs(port);
  EXPECT_TRUE(bandwidth.available(1, SrClass::b).fits(BitsPerSecond{1} << 63)) << "no overflow";
}

// Counts what is declared; nobody listens.
class Counting final : public Declarations {
 public:
  void beginPort(IntfId, bool) override {}
  void advertise(IntfId, const MsrpTalkerAdvertiseAttribute&) override { ++advertised; }
  void fail(IntfId, const MsrpTalkerFailedAttribute&) override { ++failed; }
  void withdrawTalker(IntfId, TalkerKind, StreamId) override { ++withdrawn; }
  void listen(IntfId, StreamId, MsrpListenerEvent) override { ++listened; }
  void withdrawListener(IntfId, StreamId) override {}
  std::size_t take() { return std::exchange(advertised, 0) + std::exchange(failed, 0); }

  std::size_t advertised = 0, failed = 0, withdrawn = 0, listened = 0;
};

// As many streams as an engine holds on a port, through a large switch.
TEST(StreamPropagation, EveryStreamOfALargeBridge) {
  constexpr std::size_t kPorts = 48, kStreams = 8192;
  const auto clock = Platform::makePtr<Platform::Embedded::VirtualClock>();
  StreamSwitch forwarding;
  Counting declared;
  StreamPropagation bridge(forwarding, *clock, declared);
  std::vector<IntfId> ports;
  for (std::size_t p = 1; p <= kPorts; ++p) {
    const IntfId intf = ports.emplace_back("port" + std::to_string(p));
    bridge.portIs(intf);
    bridge.openIs(intf, true);
    bridge.forwardsIs(intf, VlanSet::all());
    bridge.domainIs(intf, SrClass::a, 3);
  }
  for (StreamId id = 1; id <= kStreams; ++id) {
    MsrpTalkerFailedAttribute value;
    auto& t = value.talkerAdvertiseAttribute;
    t.streamId = id;
    t.frame.dmac = EthAddr::fromNumber(0x91e0f0000000 + id);
    t.frame.vlanId = std::uint16_t{2};
    t.tSpec.maxFrameSize = std::uint16_t{46};
    t.tSpec.maxIntervalFrames = std::uint16_t{1};
    t.priorityAndRank = PriorityAndRank::create(3, 1);
    bridge.talkerIs(ports[0], value, false);
  }
  bridge.settle();
  EXPECT_EQ(declared.take(), kStreams * (kPorts - 1));
  // One port fills up; the last listener flips all the other talkers there, and its end flips them
  // back. Nothing else is said.
  for (StreamId id = 1; id < 131; ++id) bridge.listenerIs(ports[1], id, MsrpListenerEvent::ready);
  bridge.settle();
  EXPECT_EQ(declared.take(), 0u);
  for (const auto event : {MsrpListenerEvent::ready, MsrpListenerEvent::ignore}) {
    bridge.listenerIs(ports[1], 5000, event);
    bridge.settle();
    EXPECT_EQ(declared.withdrawn, kStreams - 131);
    EXPECT_EQ(declared.take(), kStreams - 131);
    declared.withdrawn = 0;
  }
  EXPECT_EQ(bridge.review(), "");
  EXPECT_EQ(forwarding.reservations().size(), 130u);
}

}  // namespace
