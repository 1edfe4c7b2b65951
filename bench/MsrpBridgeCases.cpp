// A bridge of streams, without an engine: what its decisions cost on a switch of 48 ports.

#include <malloc.h>

#include "agent/msrp/StreamPropagation.h"
#include "bench/Cases.h"
#include "platform/embedded/VirtualClock.h"

namespace Bench {
namespace {

using Mrp::MsrpListenerEvent;
using Mrp::SrClass;
using Mrp::Streams::StreamId;
using Platform::IntfId;

constexpr std::size_t kBridgePorts = 48;
constexpr std::size_t kMostStreams = 8192;

// A switch that accepts everything and keeps nothing.
class AnySwitch final : public Mrp::StreamForwarding {
 public:
  Mrp::ReservationResult reservationIs(Platform::VlanId, Platform::EthAddr,
                                       const Mrp::PortSet&) override {
    ++told;
    return Mrp::ReservationResult::ok;
  }
  bool idleSlopeIs(IntfId, SrClass, Mrp::BitsPerSecond) override { return ++told > 0; }
  void domainBoundaryIs(IntfId, SrClass, bool) override {}
  Mrp::StreamPort streamPort(IntfId) const override { return {}; }
  Mrp::VlanEgress vlanEgress(IntfId, Platform::VlanId) const override {
    return Mrp::VlanEgress::allowed;
  }
  bool addressRegistered(IntfId, Platform::VlanId, Platform::EthAddr) const override {
    return true;
  }
  void reactorIs(Reactor*) override {}

  std::size_t told = 0;
};

// Takes the values as a transmit record does. The baseline is that alone.
class Requests final : public Mrp::Streams::Declarations {
 public:
  void beginPort(IntfId, bool) override {}
  void advertise(IntfId, const Mrp::MsrpTalkerAdvertiseAttribute& value) override {
    value_.talkerAdvertiseAttribute = value;
    ++count;
  }
  void fail(IntfId, const Mrp::MsrpTalkerFailedAttribute& value) override {
    value_ = value;
    ++count;
  }
  void withdrawTalker(IntfId, Mrp::TalkerKind, StreamId id) override {
    value_.talkerAdvertiseAttribute.streamId = id;
  }
  void listen(IntfId, StreamId, MsrpListenerEvent) override { ++count; }
  void withdrawListener(IntfId, StreamId) override { ++count; }

  std::size_t count = 0;

 private:
  Mrp::MsrpTalkerFailedAttribute value_;
};

Mrp::MsrpTalkerFailedAttribute valueOf(StreamId id) {
  Mrp::MsrpTalkerFailedAttribute value;
  auto& talker = value.talkerAdvertiseAttribute;
  talker.streamId = id;
  talker.frame.dmac = Platform::EthAddr::fromNumber(0x91e0f0000000 + id);
  talker.frame.vlanId = std::uint16_t{2};
  talker.tSpec.maxFrameSize = std::uint16_t{46};
  talker.tSpec.maxIntervalFrames = std::uint16_t{1};
  talker.priorityAndRank = Mrp::PriorityAndRank::create(3, 1);
  return value;
}

struct StreamBridge {
  StreamBridge() {
    for (std::size_t p = 1; p <= kBridgePorts; ++p) {
      const IntfId intf = ports.emplace_back("port" + std::to_string(p));
      bridge.portIs(intf);
      bridge.openIs(intf, true);
      bridge.forwardsIs(intf, Mrp::VlanSet::all());
      bridge.domainIs(intf, SrClass::a, 3);
    }
    bridge.settle();
  }
  // All talkers in one settlement.
  void advertise(std::size_t streams) {
    for (StreamId id = 1; id <= streams; ++id) bridge.talkerIs(ports[0], valueOf(id), false);
    bridge.settle();
  }
  void listen(StreamId id, MsrpListenerEvent event) {
    bridge.listenerIs(ports[1], id, event);
    bridge.settle();
  }

  Platform::Ptr<Platform::Embedded::VirtualClock> clock =
      Platform::makePtr<Platform::Embedded::VirtualClock>();
  AnySwitch forwarding;
  Requests requests;
  Mrp::Streams::StreamPropagation bridge{forwarding, *clock, requests};
  std::vector<IntfId> ports;
};

Cost requested(std::size_t count) {
  Requests requests;
  Mrp::Streams::Declarations& declarations = requests;
  const auto value = valueOf(1);
  const Cost cost = measured([&] {
    for (std::size_t i = 0; i < count; ++i) declarations.fail(IntfId(), value);
  });
  check(requests.count == count, "requests");
  return cost / static_cast<double>(count);
}

double allocated() { return static_cast<double>(mallinfo2().uordblks); }

}  // namespace

std::vector<Row> streamBridge(const Extent& extent) {
  constexpr std::size_t kReserved = 130;  // one fewer than a port carries
  Rounds declared("streams-declare"), flipped("streams-flip"), decided("streams-decide");
  double memory = 0;
  for (int i = 0; i < extent.rounds; ++i) {
    const double before = allocated();
    StreamBridge b;
    const auto declarations = static_cast<double>(kMostStreams * (kBridgePorts - 1));
    const Cost base = requested(kMostStreams * (kBridgePorts - 1));
    const Cost all = measured([&] { b.advertise(kMostStreams); });
    check(b.requests.count == kMostStreams * (kBridgePorts - 1), "talkers declared");
    declared.add(base, all / declarations);
    // Listeners one after another, while there is room.
    const Cost one = measured([&] {
      for (StreamId id = 1; id <= kReserved; ++id) b.listen(id, MsrpListenerEvent::ready);
    });
    check(b.forwarding.told == 2 * kReserved, "slopes and entries told");
    decided.add(base, one / kReserved);
    // The last one turns every other advertisement of the port into a failure, its end turns them
    // back.
    b.requests.count = 0;
    const Cost flip = measured([&] {
      b.listen(kMostStreams, MsrpListenerEvent::ready);
      b.listen(kMostStreams, MsrpListenerEvent::ignore);
    });
    const std::size_t flips = 2 * (kMostStreams - kReserved - 1);
    check(b.requests.count == flips + 2, "talkers flipped");
    flipped.add(base, flip / static_cast<double>(flips));
    memory = (allocated() - before) / static_cast<double>(kMostStreams);
  }
  return {declared.row(), decided.row(), flipped.row(), {"streams-memory", memory, {}, {}}};
}

}  // namespace Bench
