// The propagation of streams against the model that decides everything anew, on random input. After
// every settlement both agree, the invariants hold, and no port was above its limit in between.

#include <gtest/gtest.h>

#include <random>

#include "agent/msrp/StreamPropagation.h"
#include "agent/msrp/StreamSwitch.h"
#include "platform/embedded/VirtualClock.h"
#include "sim/model/NaiveStreams.h"
#include "tests/Slower.h"

namespace EngineTest {
namespace {

using namespace Mrp;
using namespace Mrp::Streams;
using Platform::EthAddr;
using Platform::Embedded::VirtualClock;
using Sim::NaiveStreams;

constexpr std::size_t kPorts = 4;
constexpr std::uint64_t kAddresses = 0x91e0f0000000;

IntfId intf(std::size_t port) { return IntfId("port" + std::to_string(port)); }

// What a bridge has declared, as the requests left it: a request that is missing shows here.
class Declared final : public Declarations {
 public:
  void beginPort(IntfId, bool) override {}
  void advertise(IntfId intf, const MsrpTalkerAdvertiseAttribute& v) override {
    talkers[{intf, keyOf(v), TalkerKind::advertise}] = "A" + std::to_string(v.accumulatedLatency);
  }
  void fail(IntfId intf, const MsrpTalkerFailedAttribute& v) override {
    talkers[{intf, keyOf(v), TalkerKind::failed}] =
        "F" + std::to_string(v.failureInformation.failureCode) + "/" +
        std::to_string(v.talkerAdvertiseAttribute.accumulatedLatency);
  }
  void withdrawTalker(IntfId intf, TalkerKind kind, StreamId id) override {
    talkers.erase({intf, id, kind});
  }
  void listen(IntfId intf, StreamId id, MsrpListenerEvent event) override {
    listeners[{intf, id}] = event;
  }
  void withdrawListener(IntfId intf, StreamId id) override { listeners.erase({intf, id}); }
  void close(IntfId intf) {
    std::erase_if(talkers, [&](const auto& t) { return std::get<0>(t.first) == intf; });
    std::erase_if(listeners, [&](const auto& l) { return l.first.first == intf; });
  }

  std::map<std::tuple<IntfId, StreamId, TalkerKind>, std::string> talkers;
  std::map<std::pair<IntfId, StreamId>, MsrpListenerEvent> listeners;
};

class Both {
 public:
  explicit Both(std::uint64_t seed) : random_(seed) {
    propagation_.bridgeIdIs(77);
    forwarding_.reactorIs(&reactor_);
    forwarding_.onSlope = [this](IntfId intf, SrClass, BitsPerSecond) { checkSlopes(intf); };
    for (std::size_t p = 0; p < kPorts; ++p) {
      intfs_.push_back(intf(p));
      propagation_.portIs(intf(p));
      propagation_.openIs(intf(p), true);
      propagation_.forwardsIs(intf(p), vlans(model_.ports[p].forwards));
      for (const SrClass c : {SrClass::a, SrClass::b}) domain(p, c, c == SrClass::a ? 3 : 2);
      settings(p);
    }
    if (chance(4)) settle();
  }

  // Empty if all is well.
  std::string step() {
    for (std::uint64_t n = 1 + below(4); n > 0; --n) change();
    if (chance(3)) clock_->run(static_cast<double>(below(40)));
    return settle();
  }

 private:
  struct Reactor final : StreamForwarding::Reactor {
    explicit Reactor(StreamPropagation& p) : propagation(p) {}
    void handleStreamPort(IntfId intf) override { propagation.portChanged(intf); }
    StreamPropagation& propagation;
  };

  std::uint64_t below(std::uint64_t n) { return random_() % n; }
  bool chance(std::uint64_t in) { return below(in) == 0; }
  template <class T>
  T oneOf(std::initializer_list<T> values) {
    return values.begin()[below(values.size())];
  }
  static VlanSet vlans(const std::set<int>& members) {
    VlanSet set;
    for (const int v : members) set.put(static_cast<std::uint16_t>(v), true);
    return set;
  }

  void checkSlopes(IntfId of) {
    const StreamPort port = forwarding_.streamPort(of);
    const BitsPerSecond a = forwarding_.slope(of, SrClass::a);
    const BitsPerSecond all = a + forwarding_.slope(of, SrClass::b);
    const std::uint64_t percent = port.ofClass[0].delta + port.ofClass[1].delta;
    // A port that has become smaller is left in the middle of what it was told.
    if (!shrunk_.contains(of) &&
        (100 * a > port.rate * port.ofClass[0].delta || 100 * all > port.rate * percent)) {
      fault_ = "above its limit: " + of.name();
    }
  }

  NaiveStreams::Value value(std::uint64_t id) {
    NaiveStreams::Value v;
    auto& t = v.talkerAdvertiseAttribute;
    t.streamId = id;
    t.frame.dmac = EthAddr::fromNumber(kAddresses + (chance(6) ? below(3) : id));
    t.frame.vlanId = static_cast<std::uint16_t>(chance(6) ? 3 : 2);
    t.tSpec.maxFrameSize = oneOf<std::uint16_t>({10, 80, 80, 800, 800, 1500});
    t.tSpec.maxIntervalFrames = oneOf<std::uint16_t>({1, 1, 1, 2, 0});
    t.priorityAndRank = PriorityAndRank::create(oneOf<std::uint8_t>({3, 3, 3, 2, 2, 0}),
                                                oneOf<std::uint8_t>({1, 1, 1, 0}));
    t.accumulatedLatency = static_cast<std::uint32_t>(chance(9) ? 0xfffffff0 : 100 * below(3));
    return v;
  }

  void change() {
    const std::size_t p = below(kPorts);
    const std::uint64_t id = 1 + below(7);
    switch (below(16)) {
      case 0:
      case 1:
      case 2:
      case 3:
        return talker(p, id);
      case 4:
        propagation_.talkerDel(intf(p), id);
        return model_.talkerGone(p, id, clock_->now());
      case 5:
      case 6:
      case 7:
      case 8:
      case 9:
        return listener(p, id);
      case 10:
        return domain(p, oneOf({SrClass::a, SrClass::b}), static_cast<int>(below(5)) - 1);
      case 11:
        return settings(p);
      case 12:
        return forwards(p);
      case 13:
        return bridge();
      case 14: {
        const bool open = !model_.ports[p].open || !chance(4);
        if (!open) {
          declared_.close(intf(p));
          model_.close(p);
        }
        model_.ports[p].open = open;
        propagation_.openIs(intf(p), open);
        return model_.partake(clock_->now());
      }
      default:
        if (chance(2)) clock_->run(static_cast<double>(below(12)));
    }
  }

  // Mostly the one it has already, from the port it comes in by.
  void talker(std::size_t p, std::uint64_t id) {
    auto known = values_.find(id);
    if (known == values_.end() || chance(4)) known = values_.insert_or_assign(id, value(id)).first;
    if (chance(4)) known->second.talkerAdvertiseAttribute.accumulatedLatency = 700;
    const bool failed = chance(6);
    NaiveStreams::Value v = known->second;
    if (failed) v.failureInformation = {99, static_cast<std::uint8_t>(1 + below(40))};
    if (!chance(6)) p = id % kPorts;
    propagation_.talkerIs(intf(p), v, failed);
    model_.talker(p, v, failed, clock_->now());
  }

  void listener(std::size_t p, std::uint64_t id) {
    using enum MsrpListenerEvent;
    const auto event = oneOf({ready, ready, ready, readyFailed, askingFailed, ignore});
    propagation_.listenerIs(intf(p), id, event);
    model_.listener(p, id, event);
  }

  void domain(std::size_t p, SrClass c, int priority) {
    if (chance(3)) priority = c == SrClass::a ? 3 : 2;
    auto& domain = model_.ports[p].domain;
    if (priority < 0) {
      domain.erase(c);
      return propagation_.domainIs(intf(p), c, std::nullopt);
    }
    domain[c] = priority;
    propagation_.domainIs(intf(p), c, static_cast<std::uint8_t>(priority));
  }

  void settings(std::size_t p) {
    StreamPort& port = model_.ports[p].settings;
    port.rate = oneOf<BitsPerSecond>({100'000'000, 100'000'000, 133'333'333, 1'000'000'000});
    port.maxPayload = chance(5) ? 800 : 1500;
    port.capable = !chance(8);
    for (auto& c : port.ofClass) {
      c.delta = oneOf<std::uint32_t>({0, 25, 50, 75});
      c.maxLatency = oneOf<std::uint32_t>({1000, 1000, 1000, 500, 2000});
    }
    shrunk_.insert(intf(p));
    forwarding_.portIs(intf(p), port);
    const auto vlan = static_cast<std::uint16_t>(2 + below(2));
    const auto egress = oneOf({VlanEgress::allowed, VlanEgress::allowed, VlanEgress::allowed,
                               VlanEgress::forbidden, VlanEgress::untagged});
    model_.ports[p].egress[vlan] = egress;
    forwarding_.egressIs(intf(p), vlan, egress);
  }

  void forwards(std::size_t p) {
    model_.ports[p].forwards = oneOf<std::set<int>>({{2, 3}, {2, 3}, {2}, {}});
    propagation_.forwardsIs(intf(p), vlans(model_.ports[p].forwards));
    model_.partake(clock_->now());
  }

  void bridge() {
    NaiveStreams::Settings& s = model_.settings;
    switch (below(7)) {
      case 0:
        s.pruning = chance(3);
        return propagation_.talkerPruningIs(s.pruning);
      case 1:
        s.fanIn = below(4);
        return propagation_.fanInLimitIs(static_cast<std::uint32_t>(s.fanIn));
      case 2:
        s.overhead = oneOf<std::uint32_t>({42, 43});
        return propagation_.overheadIs(s.overhead);
      case 3:
        s.streamLimit = oneOf<std::size_t>({0, 0, 2, 4});
        return propagation_.streamLimitIs(static_cast<std::uint32_t>(s.streamLimit));
      case 4:
        s.entryLimit = oneOf<std::size_t>({0, 0, 1, 2, 3});
        return forwarding_.entryLimitIs(s.entryLimit);
      case 5:
        s.recovery = chance(4) ? Seconds::never() : Seconds(static_cast<double>(5 + below(40)));
        return propagation_.recoveryIs(s.recovery);
      default: {
        const std::size_t p = below(kPorts);
        const StreamSwitch::Address address{2, EthAddr::fromNumber(kAddresses + 1 + below(7))};
        auto& set = model_.ports[p].addresses;
        const std::uint64_t key = std::uint64_t{2} << 48 | address.second.number();
        const bool registered = !set.contains(key);
        registered ? set.insert(key).second : set.erase(key) > 0;
        return forwarding_.addressIs(intf(p), address, registered);
      }
    }
  }

  std::string settle() {
    propagation_.settle();
    model_.settle(clock_->now());
    shrunk_.clear();
    if (!fault_.empty()) return fault_;
    if (const std::string faults = propagation_.review(); !faults.empty()) return faults;
    const Sim::StreamWords mine = Sim::wordsOf(propagation_, forwarding_, intfs_);
    if (std::string other = difference(mine, model_.words()); !other.empty()) return other;
    return requested();
  }

  // What was requested adds up to what is said to be declared.
  std::string requested() const {
    std::size_t talkers = 0, listeners = 0;
    for (const StreamState& s : propagation_.streams()) {
      for (const StreamPortState& p : s.ports) {
        if (p.declared == TalkerKind::none || !model_.ports[indexOf(p.intf)].open) continue;
        ++talkers;
        const auto found = declared_.talkers.find({p.intf, s.id, p.declared});
        if (found == declared_.talkers.end() || found->second != Sim::wordOf(p)) {
          return "not requested: " + Sim::wordOf(p) + " on " + p.intf.name();
        }
      }
      if (s.merged == MsrpListenerEvent::ignore) continue;
      ++listeners;
      const auto found = declared_.listeners.find({*s.talker, s.id});
      if (found == declared_.listeners.end() || found->second != s.merged) {
        return "listener not requested";
      }
    }
    if (talkers != declared_.talkers.size()) return "talkers are left over";
    return listeners == declared_.listeners.size() ? "" : "listeners are left over";
  }

  static std::size_t indexOf(IntfId intf) {
    return static_cast<std::size_t>(intf.name().back() - '0');
  }
  std::mt19937_64 random_;
  Platform::Ptr<VirtualClock> clock_ = Platform::makePtr<VirtualClock>();
  StreamSwitch forwarding_;
  Declared declared_;
  StreamPropagation propagation_{forwarding_, *clock_, declared_};
  Reactor reactor_{propagation_};
  NaiveStreams model_{kPorts};
  std::map<std::uint64_t, NaiveStreams::Value> values_;
  std::vector<IntfId> intfs_;
  std::set<IntfId> shrunk_;
  std::string fault_;
};

class NaiveStreamsTest : public testing::TestWithParam<int> {};

TEST_P(NaiveStreamsTest, RandomChangesAreSettledAlike) {
  const int first = GetParam() * 500;
  for (int seed = first; seed < first + 500 / static_cast<int>(kSlower); ++seed) {
    Both both(static_cast<std::uint64_t>(seed));
    for (int step = 0; step < 25; ++step) {
      const std::string fault = both.step();
      ASSERT_EQ(fault, "") << "seed " << seed << ", step " << step;
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, NaiveStreamsTest, testing::Range(0, 10));

}  // namespace
}  // namespace EngineTest
