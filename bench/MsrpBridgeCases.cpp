// A bridge of streams on a switch of 48 ports: what its decisions cost, without an engine, and what
// it adds to an engine's refresh.

#include <malloc.h>

#include "agent/msrp/MsrpBridge.h"
#include "agent/msrp/StreamPropagation.h"
#include "bench/Cases.h"
#include "bench/Network.h"
#include "bench/baseline.h"
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

// Takes the values as a transmit record does.
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

// Neighbours that talk on the first port and listen on the second; a pass is all they say.
class StreamsHeard {
 public:
  static constexpr std::uint16_t kInFrame = 512;
  static constexpr std::size_t kStreams = 8 * kInFrame;

  explicit StreamsHeard(const Network::Options& options)
      : network_(MrpApplication::msrp, kBridgePorts, options) {}

  Network& network() { return network_; }
  void begin() {
    for (const IntfId port : network_.ports()) network_.receive(port, domainFrame(kJoinIn));
    for (int i = 0; i < 2; ++i) pass();
    network_.run(3.0);
    check(network_.registered() == 2 * kStreams + 2 * kBridgePorts, "streams registered");
  }
  Cost refresh() {
    const Cost cost = measured([this] { pass(); });
    network_.takeSent();
    return cost / static_cast<double>(2 * kStreams);
  }

 private:
  void pass() {
    for (std::size_t i = 0; i < talkers_.size(); ++i) {
      network_.receive(network_.ports()[0], talkers_[i]);
      network_.receive(network_.ports()[1], listeners_[i]);
    }
  }
  template <class Frame>
  static std::vector<Octets> framesOf(Frame frame) {
    std::vector<Octets> frames;
    for (StreamId first = 1; first <= kStreams; first += kInFrame) {
      frames.push_back(frame(first, kInFrame, kJoinIn));
    }
    return frames;
  }

  std::vector<Octets> talkers_ = framesOf(talkerFrame);
  std::vector<Octets> listeners_ = framesOf(listenerFrame);
  Network network_;
};

// A refresh without change, against the same without a bridge.
Row refreshed(const Extent& extent) {
  AnySwitch forwarding;
  const auto clock = Platform::makePtr<Platform::Embedded::VirtualClock>();
  const auto bridge = Platform::makePtr<Mrp::MsrpBridge>(forwarding, clock);
  StreamsHeard with({.lib = bridge, .clock = clock, .status = {}, .spanningTree = false});
  bridge->start();
  for (const IntfId port : with.network().ports()) bridge->portIs(port);
  StreamsHeard without(Network::Options{});
  with.begin();
  without.begin();
  check(forwarding.told > 0, "streams reserved");
  const std::size_t told = forwarding.told;
  Rounds row("streams-refresh");
  for (int i = 0; i < 2 * extent.rounds; ++i) {
    const Cost base = without.refresh();
    row.add(base, with.refresh());
  }
  check(forwarding.told == told, "nothing told again");
  return row.row();
}

double allocated() { return static_cast<double>(mallinfo2().uordblks); }

}  // namespace

std::vector<Row> streamBridge(const Extent& extent) {
  constexpr std::size_t kReserved = 130;  // one fewer than a port carries
  Rounds declared("streams-declare"), flipped("streams-flip"), decided("streams-decide");
  const std::vector<PlainMap> maps = plainMaps(extent.share(64), 1, kVlans);
  const Octets packed = packedEvents(kVlans, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  double memory = 0;
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base = measured([&] {
                        for (const PlainMap& map : maps) baseline.pdu(map, 1, packed, kVlans);
                      }) /
                      static_cast<double>(maps.size() * kVlans);
    const double before = allocated();
    StreamBridge b;
    const auto declarations = static_cast<double>(kMostStreams * (kBridgePorts - 1));
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
  return {declared.row(),
          decided.row(),
          flipped.row(),
          refreshed(extent),
          {"streams-memory", memory, {}, {}}};
}

}  // namespace Bench
