#include <memory>
#include <string>
#include <utility>

#include "platform/packet/GroupFilter.h"
#include "tests/platform/Conformance.h"
#include "tests/platform/Engine.h"

namespace PlatformTest {

// Longer than anything takes that is waited for.
const Seconds kLong = 5;
// In which something would have happened that must not.
const Seconds kShort = 0.05;

void Conformance::SetUp() {
  std::string why;
  subject = GetParam().make(why);
  if (!subject) GTEST_SKIP() << why;
}

namespace {

using Octets = Subject::Octets;

constexpr std::size_t kMaxRxPktData = 10000;

struct Application {
  Subject::Engine engine;
  std::uint64_t address;
  std::uint16_t etherType;
};
constexpr Application kMvrp{Subject::kMvrp, 0x0180c2000021, 0x88f5};
constexpr Application kMsrp{Subject::kMsrp, 0x0180c200000e, 0x22ea};

Octets frame(std::uint64_t to, const Octets& typeAndTags, std::uint8_t mark,
             std::size_t size = 60) {
  Octets octets;
  for (const std::uint64_t address : {to, std::uint64_t{0x020000000001}}) {
    const auto part = EthAddr::fromNumber(address).octets();
    octets.insert(octets.end(), part.begin(), part.end());
  }
  octets.insert(octets.end(), typeAndTags.begin(), typeAndTags.end());
  octets.resize(size);
  octets.back() = mark;
  return octets;
}

Octets frame(const Application& app, std::uint8_t mark, const Octets& tags = {},
             std::size_t size = 60) {
  Octets types = tags;
  types.push_back(static_cast<std::uint8_t>(app.etherType >> 8));
  types.push_back(static_cast<std::uint8_t>(app.etherType));
  return frame(app.address, types, mark, size);
}

// One engine's endpoints, set up as an engine does.
class Opened {
 public:
  Opened(Subject& subject, const Application& app)
      : manager_(subject.manager(app.engine)),
        port_(subject.port()),
        devices_(manager_.shmTableIs("KernelNetInfo::Status",
                                     "kni/ns/" + manager_.defaultNamespace() + "/status",
                                     "devices")),
        endpoints_(manager_.services(),
                   Ptr<DeviceIntfStatusDir>(dynamic_cast<DeviceIntfStatusDir*>(devices_.get()))) {
    endpoints_.manager->ethProtocolIs(EthDevPamManager::kAllProtocols);
    endpoints_.manager->listenAddrIs(EthAddr::fromNumber(app.address));
    endpoints_.manager->socketFilterIs(
        groupFilter(EthAddr::fromNumber(app.address), app.etherType));
    endpoints_.manager->maxRxPktDataIs(kMaxRxPktData);
    endpoints_.manager->socketPerIntfIs(true);
    pamReactor_.watch<&Opened::handlePam>(endpoints_.pams->onPam(), this);
    enabledIs(true);
    desiredIs(true);
  }

  void enabledIs(bool enabled) { endpoints_.manager->enabledIs(enabled); }
  void desiredIs(bool desired) { endpoints_.desired->intfDesiredIs(port_, desired); }
  bool open() const { return pam() != nullptr; }
  Pam* pam() const { return endpoints_.pams->pam(port_); }

  // One frame is read at each notification.
  std::vector<Octets> received;
  int notifications = 0;
  std::string changes;  // + and - as endpoints come and go

 private:
  void handlePam(IntfId intf) {
    EXPECT_EQ(intf, port_);
    changes += pam() ? '+' : '-';
    if (!pam()) return rxReactor_.unwatch();
    EXPECT_TRUE(pam()->ethDevPam());
    rxReactor_.watch<&Opened::handleRxPkt>(pam()->onRxPkt(), this);
  }
  void handleRxPkt() {
    ++notifications;
    const Ptr<Pkt> pkt = pam()->rxPkt();
    if (pkt) received.emplace_back(pkt->octets().begin(), pkt->octets().end());
  }

  EntityManager& manager_;
  IntfId port_;
  Ptr<Entity> devices_;
  Endpoints endpoints_;
  Reactor<IntfId> pamReactor_;
  Reactor<> rxReactor_;
};

struct Bell {
  Bell(Clock& on, std::function<void()> call, Alarm::Class cls = Alarm::Class::review)
      : ring(std::move(call)), alarm(on, cls) {
    alarm.bind<&Bell::handleAlarm>(this);
  }
  void handleAlarm() { ring(); }

  std::function<void()> ring;
  Alarm alarm;
};

// --- Clock and alarms ----------------------------------------------------------------------------

TEST_P(Conformance, AlarmsAreNeverEarlyAndComeInTheOrderOfTheirDueTimes) {
  std::string log;
  std::vector<std::unique_ptr<Bell>> bells;
  const Seconds start = clock().now();
  const auto bell = [&](char name, Seconds due, Alarm::Class cls) {
    bells.push_back(std::make_unique<Bell>(
        clock(),
        [this, &log, name, due] {
          EXPECT_GE(clock().now(), due) << name;
          log += name;
        },
        cls));
    bells.back()->alarm.dueIs(due);
  };
  const Seconds instant = start + Seconds(0.02);
  bell('e', start + Seconds(0.03), Alarm::Class::wheel);
  bell('d', instant, Alarm::Class::arrival);
  bell('b', instant, Alarm::Class::review);
  bell('c', instant, Alarm::Class::review);
  bell('a', instant, Alarm::Class::wheel);
  bell('0', start + Seconds(0.01), Alarm::Class::arrival);
  EXPECT_TRUE(subject->runUntil([&] { return log.size() == 6; }, kLong));
  EXPECT_EQ(log, "0abcde");
}

TEST_P(Conformance, PastDueIsServedAtOnceAndTimeNeverGoesBack) {
  bool rung = false;
  run(kShort);
  const Seconds before = clock().now();
  Bell past(clock(), [&] { rung = true; });
  past.alarm.dueIs(before - Seconds(0.01));
  EXPECT_FALSE(rung) << "not from inside the arming";
  EXPECT_TRUE(subject->runUntil([&] { return rung; }, kLong));
  EXPECT_GE(clock().now(), before);
}

TEST_P(Conformance, AlarmsRearmCancelAndDestroyOneAnotherWhileTheyAreServed) {
  const Seconds start = clock().now();
  int rings = 0;
  auto victim = std::make_unique<Bell>(clock(), [] { ADD_FAILURE() << "destroyed"; });
  Bell cancelled(clock(), [] { ADD_FAILURE() << "cancelled"; });
  std::unique_ptr<Bell> self;
  self = std::make_unique<Bell>(clock(), [&] {
    victim.reset();
    cancelled.alarm.cancel();
    if (++rings < 3) return self->alarm.dueIs(clock().now() + Seconds(0.001));
    self.reset();
  });
  self->alarm.dueIs(start + Seconds(0.01));
  victim->alarm.dueIs(start + Seconds(0.01));
  cancelled.alarm.dueIs(start + Seconds(0.01));
  EXPECT_TRUE(subject->runUntil([&] { return !self; }, kLong));
  run(kShort);
  EXPECT_EQ(rings, 3);
}

// --- Packet endpoints ----------------------------------------------------------------------------

TEST_P(Conformance, EndpointIsOpenWhileDesiredPresentAndEnabled) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  subject->deviceIs(false);
  EXPECT_TRUE(subject->runUntil([&] { return !engine.open(); }, kLong));
  engine.desiredIs(false);
  subject->deviceIs(true);
  run(kShort);
  EXPECT_FALSE(engine.open());
  engine.desiredIs(true);
  EXPECT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  engine.enabledIs(false);
  EXPECT_FALSE(engine.open());
  engine.enabledIs(true);
  EXPECT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  EXPECT_EQ(engine.changes, "+-+-+");

  // It works like the first one.
  subject->arrive(frame(kMvrp, 7));
  EXPECT_TRUE(subject->runUntil([&] { return engine.received.size() == 1; }, kLong));
}

TEST_P(Conformance, ClosedEndpointIsDeadThoughStillHeld) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  const Ptr<Pam> pam = engine.pam();
  Reader reader(pam);
  subject->arrive(frame(kMvrp, 1));
  engine.desiredIs(false);
  subject->arrive(frame(kMvrp, 2));
  EXPECT_FALSE(pam->rxPktWaiting());
  EXPECT_FALSE(pam->rxPkt());
  pam->txPktIs(packet(frame(kMvrp, 3)));
  run(kShort);
  EXPECT_TRUE(reader.marks.empty());
  EXPECT_TRUE(subject->departed().empty());
}

TEST_P(Conformance, FramesOfTheApplicationArriveUnchangedOneANotificationAndOthersDoNot) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  const std::vector<Octets> own{
      frame(kMvrp, 1),
      frame(kMvrp, 2, {0x81, 0x00, 0xe0, 0x64}),
      frame(kMvrp, 3, {0x81, 0x00, 0x00, 0x00}),
      frame(kMvrp, 4, {}, 1514),
  };
  const std::vector<Octets> others{
      frame(kMsrp, 9),
      frame(kMsrp.address, {0x88, 0xf5}, 9),
      frame(0x0180c2000020, {0x88, 0xf5}, 9),
      frame(0x020000000002, {0x88, 0xf5}, 9),
      frame(kMvrp.address, {0x08, 0x00}, 9),
  };
  for (const Octets& octets : others) subject->arrive(octets);
  for (const Octets& octets : own) subject->arrive(octets);
  EXPECT_TRUE(subject->runUntil([&] { return engine.received.size() == own.size(); }, kLong));
  run(kShort);
  EXPECT_EQ(engine.received, own);
  EXPECT_EQ(engine.notifications, 4);
}

TEST_P(Conformance, FramesAreCutAtTheReceiveLimit) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  for (const std::size_t size : {kMaxRxPktData, kMaxRxPktData + 1, std::size_t{Subject::kMtu}}) {
    subject->arrive(frame(kMvrp, 1, {}, size));
  }
  EXPECT_TRUE(subject->runUntil([&] { return engine.received.size() == 3; }, kLong));
  for (const Octets& octets : engine.received) EXPECT_EQ(octets.size(), kMaxRxPktData);
}

TEST_P(Conformance, WaitingFramesAreSeenAndReadBeforeTheyAreTold) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  Pam& pam = *engine.pam();
  EXPECT_FALSE(pam.rxPktWaiting());
  subject->arrive(frame(kMsrp, 9));
  EXPECT_FALSE(pam.rxPktWaiting()) << "what the filter refuses does not wait";
  subject->arrive(frame(kMvrp, 1));
  subject->arrive(frame(kMvrp, 2));
  EXPECT_TRUE(pam.rxPktWaiting());
  const Ptr<Pkt> first = pam.rxPkt();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->octets().back(), 1);
  EXPECT_TRUE(pam.rxPktWaiting());
  EXPECT_TRUE(subject->runUntil([&] { return engine.received.size() == 1; }, kLong));
  EXPECT_EQ(engine.received.front().back(), 2);
  EXPECT_FALSE(pam.rxPktWaiting());
  EXPECT_FALSE(pam.rxPkt());
}

TEST_P(Conformance, BurstsArriveWholeAndInOrder) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  constexpr int kFrames = 200;
  for (int i = 0; i < kFrames; ++i) subject->arrive(frame(kMvrp, static_cast<std::uint8_t>(i)));
  EXPECT_TRUE(subject->runUntil([&] { return engine.received.size() == kFrames; }, kLong));
  EXPECT_EQ(engine.notifications, kFrames);
  for (std::size_t i = 0; i < engine.received.size(); ++i) EXPECT_EQ(engine.received[i].back(), i);
}

TEST_P(Conformance, ReaderMayGiveUpItsPortInsideANotification) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  struct Quitter {
    void handleRxPkt() { ++calls, engine->desiredIs(false); }
    Opened* engine;
    int calls = 0;
    Reactor<> reactor{};
  } quitter{&engine};
  quitter.reactor.watch<&Quitter::handleRxPkt>(engine.pam()->onRxPkt(), &quitter);
  subject->arrive(frame(kMvrp, 1));
  subject->arrive(frame(kMvrp, 2));
  EXPECT_TRUE(subject->runUntil([&] { return quitter.calls == 1; }, kLong));
  run(kShort);
  EXPECT_EQ(quitter.calls, 1);
}

TEST_P(Conformance, SentFramesReachTheWireUnchangedAndAreNotReceived) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  const std::vector<Octets> frames{frame(kMvrp, 1, {}, 15), frame(kMvrp, 2),
                                   frame(kMvrp, 3, {0x81, 0x00, 0x60, 0x02}),
                                   frame(kMvrp, 4, {}, Subject::kMtu)};
  for (const Octets& octets : frames) engine.pam()->txPktIs(packet(octets));
  std::vector<Octets> departed;
  const auto all = [&] {
    for (Octets& octets : subject->departed()) departed.push_back(std::move(octets));
    return departed.size() >= frames.size();
  };
  EXPECT_TRUE(subject->runUntil(all, kLong));
  run(kShort);
  EXPECT_EQ(departed, frames);
  EXPECT_EQ(engine.notifications, 0);
}

TEST_P(Conformance, EveryEngineOnAPortGetsItsOwnFrames) {
  Opened mvrp(*subject, kMvrp), msrp(*subject, kMsrp);
  ASSERT_TRUE(subject->runUntil([&] { return mvrp.open() && msrp.open(); }, kLong));
  subject->arrive(frame(kMsrp, 1));
  subject->arrive(frame(kMvrp, 2));
  EXPECT_TRUE(subject->runUntil(
      [&] { return mvrp.received.size() == 1 && msrp.received.size() == 1; }, kLong));
  run(kShort);
  EXPECT_EQ(mvrp.received, std::vector<Octets>{frame(kMvrp, 2)});
  EXPECT_EQ(msrp.received, std::vector<Octets>{frame(kMsrp, 1)});
}

// --- Packets -------------------------------------------------------------------------------------

TEST_P(Conformance, PacketsHaveTheRoomAskedForAndRequestsMayFail) {
  PktManager& pkts = services().pktManager();
  for (const std::size_t room : {std::size_t{64}, std::size_t{1500}, kMaxRxPktData}) {
    for (int again = 0; again < 3; ++again) {
      const Ptr<Pkt> pkt = pkts.pktIs(18, room);
      ASSERT_TRUE(pkt);
      EXPECT_EQ(pkt->size(), 0u);
      EXPECT_GE(pkt->headRoom(), 18u);
      EXPECT_GE(pkt->tailRoom(), room);
      pkt->sizeIs(room);
      pkt->headAdd(18);
    }
  }
  subject->allocationFails(true);
  EXPECT_FALSE(pkts.pktIs(0, 1));
  subject->allocationFails(false);
  EXPECT_TRUE(pkts.pktIs(0, 1));
}

TEST_P(Conformance, ReceptionGoesOnWhileTheEnginesPacketsFail) {
  Opened engine(*subject, kMvrp);
  ASSERT_TRUE(subject->runUntil([&] { return engine.open(); }, kLong));
  subject->allocationFails(true);
  subject->arrive(frame(kMvrp, 1));
  EXPECT_TRUE(subject->runUntil([&] { return engine.received.size() == 1; }, kLong));
}

// --- State database and status -------------------------------------------------------------------

TEST_P(Conformance, EntitiesArePublishedReplacedAndDeletedByName) {
  EntityManager& manager = subject->manager(Subject::kMvrp);
  const Ptr<Entity> first = makePtr<Entity>(), second = makePtr<Entity>();
  EXPECT_FALSE(manager.entity("some/name"));
  manager.entityIs("some/name", first);
  EXPECT_EQ(manager.entity("some/name"), first);
  manager.entityIs("some/name", second);
  EXPECT_EQ(manager.entity("some/name"), second);
  EXPECT_EQ(first->refs(), 1u);
  manager.entityDel("some/name");
  manager.entityDel("some/name");
  EXPECT_FALSE(manager.entity("some/name"));
}

TEST_P(Conformance, StatusDirectoriesAreMountedAndKnowThePort) {
  EntityManager& manager = subject->manager(Subject::kMvrp);
  const std::string table = "kni/ns/" + manager.defaultNamespace() + "/status";
  Ptr<IntfStatusDir> dirs[2];
  for (const char* path : {"interface/status/all", "interface/status/local"}) {
    auto* const dir = dynamic_cast<IntfStatusDir*>(manager.entity(path).get());
    ASSERT_TRUE(dir) << path;
    const IntfStatus* const status = dir->intfStatus(subject->port());
    ASSERT_TRUE(status) << path;
    EXPECT_EQ(status->mtu, Subject::kMtu);
    dirs[path == std::string("interface/status/local")] = dir;
  }
  const Ptr<Entity> devices = manager.shmTableIs("KernelNetInfo::Status", table, "published");
  auto* const dir = dynamic_cast<DeviceIntfStatusDir*>(devices.get());
  ASSERT_TRUE(dir);
  EXPECT_TRUE(dir->deviceHas(subject->port()));
  EXPECT_EQ(manager.entity("published"), devices);
  EXPECT_FALSE(manager.shmTableIs("KernelNetInfo::Other", table, "other"));
  EXPECT_FALSE(manager.shmTableIs("KernelNetInfo::Status", "kni/ns/none/status", "other"));
  EXPECT_FALSE(manager.entity("other"));

  const auto root = manager.services().intfStatusManagerRoot(dirs[0], dirs[1]);
  EXPECT_FALSE(root->intfStatusManagerHas("blue"));
  root->intfStatusManagerIs("blue");
  EXPECT_TRUE(root->intfStatusManagerHas("blue"));
}

TEST_P(Conformance, AttributeLogTellsHowFullItIsAndWhenItsDescriptorChanges) {
  EntityManager& manager = subject->manager(Subject::kMvrp);
  EXPECT_FALSE(manager.attrLogOutput("no such log"));
  const Ptr<AttrLogOutput> log = manager.attrLogOutput(manager.name());
  ASSERT_TRUE(log);
  struct Watch {
    void handleSockFd() { ++changes; }
    int changes = 0;
    Reactor<> reactor;
  } watch;
  watch.reactor.watch<&Watch::handleSockFd>(log->onSockFd(), &watch);
  EXPECT_GE(log->sockFd(), 0);
  EXPECT_GT(log->sendBufferSize(log->sockFd()).value_or(0), 4096);
  EXPECT_EQ(log->sendQueueOctets(log->sockFd()), 0);
  subject->logWaits(true);
  EXPECT_GT(log->sendQueueOctets(log->sockFd()).value_or(0), 0);
  subject->logWaits(false);
  EXPECT_EQ(log->sendQueueOctets(log->sockFd()), 0);
  EXPECT_EQ(watch.changes, 0);
  subject->logReopens();
  EXPECT_EQ(watch.changes, 1);
  EXPECT_EQ(log->sendQueueOctets(log->sockFd()), 0);
  EXPECT_FALSE(log->sendBufferSize(-1));
  EXPECT_FALSE(log->sendQueueOctets(-1));
}

}  // namespace
}  // namespace PlatformTest
