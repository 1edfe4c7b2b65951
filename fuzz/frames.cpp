// Frames, requests, times and failures in any order, to one engine on a switch of three ports. The
// application calls the service back from inside its indications. After each step the databases and
// the frames that were sent must be sound; at the end, with nobody declaring anything any more,
// every registration must age out and every record must go.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <span>
#include <vector>

#include "fuzz/Check.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

namespace {

using Mrp::MrpApplication;
using Mrp::MrpAttrDatabase;
using Platform::EthAddr;
using Platform::IntfId;
using Platform::makePtr;
using Platform::Ptr;
using Platform::Seconds;
using Octets = std::vector<std::uint8_t>;
using OctetSpan = std::span<const std::uint8_t>;

// One address and EtherType for both applications: the process keeps the socket filter of its first
// engine, and runs of both applications take turns here.
const EthAddr kGroup = EthAddr::fromNumber(0x0180c2000021);
constexpr std::uint16_t kEtype = 0x88f5;
constexpr std::size_t kPorts = 3;
constexpr int kMaxSteps = 100;
constexpr unsigned kJoin = 1;
constexpr unsigned kLeave = 5;
constexpr std::size_t kShortestFrame = 17;
constexpr std::size_t kLongestFrame = 1517;

// Reads 0 past the end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  bool empty() const { return rest_.empty(); }
  unsigned octet() {
    const OctetSpan one = take(1);
    return one.empty() ? 0 : one[0];
  }
  OctetSpan take(std::size_t n) {
    const OctetSpan taken = rest_.first(std::min(n, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

 private:
  OctetSpan rest_;
};

// The key of a stored value: the number in its first octets.
std::uint64_t keyOfValue(MrpApplication application, unsigned type, OctetSpan value) {
  const bool domain = type == static_cast<unsigned>(Mrp::MsrpAttrType::domain);
  const std::size_t octets = application == MrpApplication::mvrp ? 2 : domain ? 1 : 8;
  std::uint64_t key = 0;
  for (const std::uint8_t octet : value.first(octets)) key = key << 8 | octet;
  return key;
}

// Follows the layout of an MSRPDU that the engine built, from its first message on.
bool soundMsrpdu(OctetSpan pdu) {
  const auto u16 = [&](std::size_t at) { return Mrp::readU16(pdu.data() + at); };
  std::size_t at = 0;
  while (at + 2 < pdu.size()) {
    const std::size_t length = Mrp::attributeLength(MrpApplication::msrp, pdu[at]);
    if (at + 4 > pdu.size() || length == 0 || pdu[at + 1] != length) return false;
    const bool listener = pdu[at] == static_cast<std::uint8_t>(Mrp::MsrpAttrType::listener);
    const std::size_t end = at + 4 + u16(at + 2);
    if (end + 2 > pdu.size()) return false;
    at += 4;
    while (at + 2 < end) {
      const std::size_t n = u16(at) & Mrp::kNumOfValuesMask;
      if (n == 0 && !(u16(at) & Mrp::kVectorHeaderLeaveAll)) return false;
      const std::size_t events = at + 2 + length;
      at = events + (n + 2) / 3 + (listener ? (n + 3) / 4 : 0);
      if (at + 2 > end) return false;
      for (std::size_t i = 0; i < (n + 2) / 3; ++i) {
        if (pdu[events + i] >= 6 * 6 * 6) return false;
      }
    }
    if (at + 2 != end || u16(at) != 0) return false;
    at = end;
  }
  return at + 2 == pdu.size() && u16(at) == 0;
}

class Agent;

struct World {
  explicit World(Input& input);

  void run();

  void startEngine(bool standby);
  void stopEngine();
  void step();
  void frame(bool waits);
  void request(IntfId intf, unsigned type, unsigned event);
  void enable(IntfId intf, bool enable);
  void failure(unsigned what);
  void transmitted(OctetSpan frame) const;
  void check();
  void checkAtEnd();
  void withdrawAll();
  // Calls `visit(intf, type, types)` for every collection there is.
  template <class Visit>
  void eachCollection(Visit visit) const;

  bool msrp() const { return application == MrpApplication::msrp; }
  unsigned types() const { return msrp() ? 4 : 1; }
  IntfId port() { return ports[in.octet() % kPorts]; }
  bool active() const { return engine->active(); }

  Input& in;
  MrpApplication application;
  bool wholeFrames;  // frames come with their headers; otherwise a right one is put in front
  Ptr<Platform::Embedded::VirtualClock> clock = makePtr<Platform::Embedded::VirtualClock>();
  Platform::Embedded::Switch host{clock};
  std::array<IntfId, kPorts> ports;
  Ptr<Mrp::MrpConfig> config = makePtr<Mrp::MrpConfig>();
  Ptr<Mrp::MrpStatus> status = makePtr<Mrp::MrpStatus>();
  Ptr<Agent> agent;
  // What an indication does, one octet each, over and over.
  OctetSpan script;
  std::size_t nextIndication = 0;
  std::uint64_t staged = 0;  // by engines that are gone
  std::uint64_t requested = 0;
  Ptr<Mrp::MrpSm> engine;
};

class Agent final : public Mrp::MrpLib {
 public:
  explicit Agent(World& world) : world_(world) {}

  bool mrpJoinIndication(const Mrp::MrpParameters& p) override { return indicated(p, true); }
  void mrpLeaveIndication(const Mrp::MrpParameters& p) override { indicated(p, false); }

 private:
  bool indicated(const Mrp::MrpParameters& p, bool join);
  void propagate(const Mrp::MrpParameters& p, bool join);

  World& world_;
};

// The receive records must name the attribute whatever was done inside the indications before.
bool Agent::indicated(const Mrp::MrpParameters& p, bool join) {
  const std::uint64_t key = world_.engine->parseContext()->attributeKey();
  CHECK(world_.engine->mrpGetRxAttributeKey() == key);
  CHECK(p.attributeType >= 1 && p.attributeType <= world_.types());
  if (world_.script.empty()) return false;
  switch (world_.script[world_.nextIndication++ % world_.script.size()] % 10) {
    case 0:
    case 1:
      propagate(p, join);
      break;
    case 2:
      return true;
    case 3:
      world_.enable(p.intfId, false);
      break;
    case 4:
      mrpCleanUpIntfDatabaseAttribute(p.intfId, p.attributeType, key);
      break;
    case 5:
      std::ranges::copy(rxImage(p.attributeType), txImage(p.attributeType).begin());
      world_.request(p.intfId, p.attributeType, Mrp::kInternalLeaveEvent);
      break;
    case 6:
      world_.request(p.intfId, p.attributeType, Mrp::kLeaveAllEvent);
      break;
    case 7:
      world_.enable(p.intfId, false);
      world_.enable(p.intfId, true);
      break;
    case 8:
      mrpCleanUpIntfDatabase(p.intfId);
      propagate(p, join);
      return join;
    default:
      break;
  }
  CHECK(world_.engine->parseContext()->attributeKey() == key);
  return false;
}

void Agent::propagate(const Mrp::MrpParameters& p, bool join) {
  for (const IntfId intf : world_.ports) {
    if (intf == p.intfId) continue;
    std::ranges::copy(rxImage(p.attributeType), txImage(p.attributeType).begin());
    world_.request(intf, p.attributeType, join ? kJoin : kLeave);
  }
}

World::World(Input& input) : in(input) {
  const unsigned mode = in.octet();
  application = mode & 1 ? MrpApplication::msrp : MrpApplication::mvrp;
  wholeFrames = mode & 2;
  constexpr std::array<std::uint32_t, 4> kMtus{1500, 9000, 100, 0};
  const std::uint32_t mtu = kMtus[mode >> 2 & 3];
  if (mode & 0x10) host.trace().levelIs(9);
  config->leaveTimeIs(0.2);
  config->leaveAllTimeIs(1.0);
  for (std::size_t i = 0; i < kPorts; ++i) {
    ports[i] =
        host.portIs("port" + std::to_string(i + 1), EthAddr::fromNumber(0x020000000001 + i), mtu);
  }
  host.onTransmit([this](IntfId, const Platform::Pkt& pkt) { transmitted(pkt.octets()); });
  script = in.take(in.octet() % 8);
  startEngine(mode & 0x20);
  for (const IntfId intf : ports) enable(intf, true);
}

// An agent that starts again has nothing but the status and the switch.
void World::startEngine(bool standby) {
  agent = makePtr<Agent>(*this);
  agent->hasNotificationActiveIs(true);
  agent->applicationIs(application);
  agent->applicationMacAddrIs(kGroup);
  agent->applicationEtypeIs(kEtype);
  engine = Mrp::mrpSmFactory(host.bridgingConfig(), agent.get(), config, status, host.stpStatus(),
                             host.bridgingTopologyConfig(), host.ethPhyIntfStatusDir(),
                             host.stateDatabase(), standby);
}

void World::stopEngine() {
  if (active()) staged += engine->parseContext()->eventsCounter();
  engine = nullptr;
}

void World::run() {
  for (int i = 0; i < kMaxSteps && !in.empty(); ++i) {
    step();
    check();
  }
  checkAtEnd();
}

void World::step() {
  switch (in.octet() % 16) {
    default:
      frame(false);
      break;
    case 1:
      frame(true);
      break;
    case 2:
    case 3:
      clock->run(in.octet() * 0.05);
      break;
    case 4:
    case 5: {
      const IntfId intf = port();
      const unsigned type = 1 + in.octet() % types();
      const unsigned event = in.octet() % 9;
      const auto image = agent->txImage(static_cast<std::uint8_t>(type));
      std::ranges::copy(in.take(in.octet() % (image.size() + 1)), image.begin());
      request(intf, type, event);
      break;
    }
    case 6: {
      const IntfId intf = port();
      enable(intf, in.octet() & 1);
      break;
    }
    case 7: {
      const IntfId intf = port();
      host.stpStatus()
          ->childIs("Mst")
          .childIs(Stp::kCist)
          .childIs(intf.name())
          .roleIs(static_cast<Stp::MstiPortStatus::Role>(in.octet() % 6));
      break;
    }
    case 8:
      status->floodIs(in.octet() & 1);
      break;
    case 9:
      failure(in.octet());
      break;
    case 10: {
      const IntfId intf = port();
      if (active()) engine->mrpPamSm()->transmitAllLeaveAll(intf);
      break;
    }
    case 11:
      if (engine->standbyMode()) {
        engine->standbyModeIs(false);
        engine->handleStandbyMode();
      } else {
        stopEngine();
        startEngine(in.octet() & 1);
        for (const IntfId intf : ports) enable(intf, true);
      }
      break;
  }
}

void World::frame(bool waits) {
  const IntfId intf = port();
  const Seconds unread = waits ? in.octet() * 0.01 : 0.0;
  const std::size_t high = in.octet();
  const OctetSpan body = in.take(high << 8 | in.octet());
  Octets octets;
  if (!wholeFrames) {
    octets.assign(kGroup.octets().begin(), kGroup.octets().end());
    octets.resize(12);
    octets.push_back(kEtype >> 8);
    octets.push_back(kEtype & 0xff);
  }
  octets.insert(octets.end(), body.begin(), body.end());
  host.receive(intf, octets, unread);
}

void World::request(IntfId intf, unsigned type, unsigned event) {
  if (!active()) return;
  ++requested;
  agent->mrpOutIntfQueueEnq(intf);
  agent->mrpSendAttribute(
      {intf, static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(event)});
  CHECK(agent->mrpOutIntfQueueEmpty());
}

void World::enable(IntfId intf, bool enable) {
  if (engine->desiredIntfDir()->intfDesired(intf) == enable) return;
  if (enable) {
    agent->mrpInterfaceEnable(intf);
  } else {
    agent->mrpInterfaceDisable(intf);
  }
}

void World::failure(unsigned what) {
  const IntfId intf = port();
  const unsigned value = in.octet();
  switch (what % 9) {
    case 0:
      host.pktAllocator().failNext(value % 8);
      break;
    case 1:
      host.attrLog().queueOctetsIs(value * 1000);
      break;
    case 2:
      host.attrLog().close();
      break;
    case 3:
      host.attrLog().reopen();
      break;
    case 4:
      host.portDel(intf);
      break;
    case 5:
      host.portIs(intf.name(), EthAddr::fromNumber(0x020000000009), value * 8);
      break;
    case 6:
      config->txSuppressIs(value & 1);
      break;
    case 7:
      config->intfLeaveTimeIs(intf, (value & 7) * 0.1);
      config->intfLeaveAllTimeIs(intf, (value >> 4) * 0.2);
      break;
    case 8:
      engine->recycledPktIs(value & 1);
      break;
  }
}

// A flooded frame is whatever was received.
void World::transmitted(OctetSpan frame) const {
  if (status->flood()) return;
  CHECK(frame.size() >= kShortestFrame && frame.size() <= kLongestFrame);
  CHECK(frame[frame.size() - 1] == 0 && frame[frame.size() - 2] == 0);
  if (msrp()) CHECK(soundMsrpdu(frame.subspan(15)));
}

template <class Visit>
void World::eachCollection(Visit visit) const {
  for (const IntfId intf : ports) {
    for (unsigned type = 1; type <= types(); ++type) {
      const auto t = static_cast<std::uint8_t>(type);
      if (auto* collection = engine->applicationDatabase()->typeApplicant(intf, t)) {
        visit(intf, t, *collection);
      }
    }
  }
}

void World::check() {
  std::uint64_t visible = 0;
  eachCollection([&](IntfId intf, std::uint8_t type, Mrp::MrpIntfTypeApplicant& types) {
    std::size_t walked = 0;
    std::uint64_t last = 0;
    engine->walkAttributes(intf, type, [&](MrpAttrDatabase& record) {
      const std::uint64_t key = record.attributeKey();
      CHECK(walked == 0 || key > last);
      CHECK(types.visible(key) == &record);
      CHECK(record.value().size() == agent->rxImage(type).size());
      CHECK(keyOfValue(application, type, record.value()) == key);
      last = key;
      ++walked;
    });
    CHECK(walked == types.visibleCount());
    visible += walked;
  });
  const std::uint64_t now = active() ? engine->parseContext()->eventsCounter() : 0;
  CHECK(visible <= staged + now + requested);
}

void World::withdrawAll() {
  std::map<Mrp::MrpAttribute, Octets> values;
  eachCollection([&](IntfId intf, std::uint8_t type, Mrp::MrpIntfTypeApplicant&) {
    engine->walkAttributes(intf, type, [&](const MrpAttrDatabase& record) {
      values[{intf, type, record.attributeKey()}] =
          Octets(record.value().begin(), record.value().end());
    });
  });
  for (const auto& [attribute, value] : values) {
    std::ranges::copy(value, agent->txImage(attribute.attributeType).begin());
    request(attribute.intfId, attribute.attributeType, kLeave);
  }
}

void World::checkAtEnd() {
  script = {};
  status->floodIs(false);
  config->txSuppressIs(false);
  host.attrLog().reopen();
  host.pktAllocator().failNext(0);
  for (const IntfId intf : ports) {
    config->intfLeaveTimeDel(intf);
    config->intfLeaveAllTimeDel(intf);
    host.portIs(intf.name(), EthAddr::fromNumber(0x020000000001));
  }
  engine->standbyModeIs(false);
  engine->handleStandbyMode();
  for (const IntfId intf : ports) enable(intf, true);
  clock->run(1.0);  // frames that wait unread
  withdrawAll();
  check();
  clock->run(30.0);
  check();
  eachCollection([&](IntfId intf, std::uint8_t type, Mrp::MrpIntfTypeApplicant& types) {
    engine->walkAttributes(intf, type, [&](const MrpAttrDatabase& record) {
      std::cerr << "left over: " << Mrp::MrpAttribute{intf, type, record.attributeKey()} << ' '
                << record.applicantState() << ' ' << record.registrarState() << '\n';
    });
    CHECK(types.visibleCount() == 0);
    CHECK(types.pendingAdds() == 0 && types.pendingDeletes() == 0);
    CHECK(!types.anyAtOrAbove(0));
    CHECK(types.heldByPeer() == 0);
  });
  for (const IntfId intf : ports) CHECK(!agent->mrpTxContext(intf, false));
  for (const IntfId intf : ports) CHECK(!agent->mrpTxContext(intf, true));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The same input, the same run.
  static const int fixed = ::setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
  static_cast<void>(fixed);
  Input input(data, size);
  World(input).run();
  return 0;
}
