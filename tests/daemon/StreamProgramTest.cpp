// What of the kernel's entries and shapers is the agent's, over several lives of it.

#include "agent/daemon/streams/StreamProgram.h"

#include <gmock/gmock.h>

#include "tests/daemon/FakeStreams.h"

namespace DaemonTest {
namespace {

using namespace Daemon;
using Mrp::ReservationResult;
using Mrp::SrClass;
using Platform::EthAddr;
using testing::ElementsAre;
using testing::IsEmpty;

const EthAddr kGroup = EthAddr::fromNumber(0x91e0f000fe01);
const EthAddr kOtherGroup = EthAddr::fromNumber(0x91e0f000fe02);
const EthAddr kStation = EthAddr::fromNumber(0x020000000001);

class StreamProgramTest : public testing::Test, private Mrp::StreamForwarding::Reactor {
 protected:
  using Claim = std::pair<std::string, std::optional<StreamHost::Address>>;

  StreamProgramTest() { start(); }
  ~StreamProgramTest() override { program->reactorIs(nullptr); }

  // Another life knows what the one before had claimed.
  void start() {
    const std::set<Claim> known = claims;
    program = std::make_unique<StreamProgram>(
        &host,
        StreamProgram::Hooks{
            [this](const std::string& port, const auto& address, bool on) {
              on ? void(claims.insert({port, address})) : void(claims.erase({port, address}));
            },
            [](const std::string&, const auto&, bool) {}},
        log);
    program->reactorIs(this);
    for (const auto& [port, address] : known) program->claimIs(port, address);
    portsAre(true);
    changed.clear();
  }
  void portsAre(bool filters, Mrp::BitsPerSecond rate = 100'000'000) {
    StreamProgram::Port port;
    port.settings.rate = rate;
    program->portsAre({{IntfId("p2"), port}, {IntfId("p3"), port}}, filters);
  }
  ReservationResult reserve(EthAddr address, const std::vector<std::string>& ports,
                            std::uint16_t vlan = 2) {
    Mrp::PortSet set;
    for (const std::string& port : ports) set.push_back(IntfId(port));
    return program->reservationIs(Platform::VlanId(vlan), address, set);
  }
  bool slope(const std::string& port, SrClass srClass, Mrp::BitsPerSecond bits) {
    return program->idleSlopeIs(IntfId(port), srClass, bits);
  }
  void handleStreamPort(IntfId intf) override { changed.push_back(intf.name()); }

  FakeStreams host;
  std::vector<std::string> lines;
  Log log{[this](Log::Level, const std::string& text) { lines.push_back(text); }};
  std::set<Claim> claims;
  std::vector<std::string> changed;
  std::unique_ptr<StreamProgram> program;
};

TEST_F(StreamProgramTest, EntriesOfOthersStay) {
  host.others.insert({"p2", {2, kGroup}});
  EXPECT_EQ(reserve(kGroup, {"p2", "p3"}), ReservationResult::ok);
  EXPECT_EQ(host.entries(), "p3 2/91:e0:f0:00:fe:01");
  EXPECT_THAT(claims, ElementsAre(Claim{"p3", StreamHost::Address{2, kGroup}}));
  // Pruning asks for entries of others only.
  EXPECT_TRUE(program->addressRegistered(IntfId("p2"), Platform::VlanId(2), kGroup));
  EXPECT_FALSE(program->addressRegistered(IntfId("p3"), Platform::VlanId(2), kGroup));
  EXPECT_EQ(reserve(kGroup, {}), ReservationResult::ok);
  EXPECT_EQ(host.entries(), "");
  EXPECT_EQ(host.others.size(), 1u);
  EXPECT_THAT(claims, IsEmpty());
}

TEST_F(StreamProgramTest, WhatIsRefusedStaysAsItWasAndIsSaidOnce) {
  host.room = 2;
  EXPECT_EQ(reserve(kGroup, {"p2"}), ReservationResult::ok);
  EXPECT_EQ(reserve(kOtherGroup, {"p2", "p3"}), ReservationResult::tableFull);
  EXPECT_EQ(reserve(kOtherGroup, {"p2", "p3"}), ReservationResult::tableFull);
  EXPECT_EQ(host.entries(), "p2 2/91:e0:f0:00:fe:01");
  EXPECT_EQ(claims.size(), 1u);
  EXPECT_THAT(lines, ElementsAre("p3: the bridge makes no entry for a stream: full"));
  EXPECT_THAT(program->refusals(), ElementsAre(lines.front()));
  program->retry();
  EXPECT_THAT(changed, ElementsAre("p3"));
  host.room = 9;
  EXPECT_EQ(reserve(kOtherGroup, {"p2", "p3"}), ReservationResult::ok);
  EXPECT_THAT(program->refusals(), IsEmpty());
}

TEST_F(StreamProgramTest, AnIndividualAddressIsBehindOnePort) {
  EXPECT_EQ(reserve(kStation, {"p2", "p3"}), ReservationResult::noResource);
  EXPECT_EQ(host.entries(), "");
  EXPECT_EQ(reserve(kStation, {"p2"}), ReservationResult::ok);
  EXPECT_EQ(reserve(kStation, {}), ReservationResult::ok);
  EXPECT_EQ(reserve(kStation, {"p3"}), ReservationResult::ok);
  EXPECT_EQ(host.entries(), "p3 2/02:00:00:00:00:01");
}

TEST_F(StreamProgramTest, WithoutFilteringStreamsOfSeveralVlansShareAnEntry) {
  EXPECT_EQ(reserve(kGroup, {"p2"}), ReservationResult::ok);
  portsAre(false);
  EXPECT_EQ(host.entries(), "p2 0/91:e0:f0:00:fe:01");
  EXPECT_EQ(reserve(kGroup, {"p2"}, 3), ReservationResult::ok);
  EXPECT_EQ(reserve(kGroup, {}, 2), ReservationResult::ok);
  EXPECT_EQ(host.entries(), "p2 0/91:e0:f0:00:fe:01");
  portsAre(true);
  EXPECT_EQ(host.entries(), "p2 3/91:e0:f0:00:fe:01");
  EXPECT_EQ(reserve(kGroup, {}, 3), ReservationResult::ok);
  EXPECT_EQ(host.entries(), "");
  EXPECT_THAT(claims, IsEmpty());
}

TEST_F(StreamProgramTest, AnotherLifeTouchesNothingUntilItKnows) {
  reserve(kGroup, {"p2", "p3"});
  reserve(kOtherGroup, {"p2"});
  slope("p2", SrClass::a, 60'000'000);
  start();
  host.requests = 0;
  // One of two streams is known first: the queue is not lowered for the other.
  EXPECT_TRUE(slope("p2", SrClass::a, 50'000'000));
  EXPECT_EQ(reserve(kGroup, {"p2"}), ReservationResult::ok);
  EXPECT_EQ(host.entries(),
            "p2 2/91:e0:f0:00:fe:01, p2 2/91:e0:f0:00:fe:02, p3 2/91:e0:f0:00:fe:01");
  EXPECT_EQ(host.idleSlope("p2"), 60'000);
  program->confirmedIs();
  EXPECT_EQ(host.entries(), "p2 2/91:e0:f0:00:fe:01");
  EXPECT_EQ(host.idleSlope("p2"), 50'000);
  // The entry that was found is the agent's own.
  EXPECT_EQ(reserve(kGroup, {}), ReservationResult::ok);
  EXPECT_EQ(host.entries(), "");
  program->end("br0");
  EXPECT_THAT(host.shapers, IsEmpty());
  EXPECT_THAT(claims, IsEmpty());
}

TEST_F(StreamProgramTest, ALifeThatIsLeftWithNothingTakesItOut) {
  reserve(kGroup, {"p2"});
  slope("p2", SrClass::a, 60'000'000);
  start();
  program->confirmedIs();
  EXPECT_EQ(host.entries(), "");
  EXPECT_EQ(host.idleSlope("p2"), 0);
}

TEST_F(StreamProgramTest, QueuesThatAreNotThereRefuse) {
  host.withoutQueues = {"p3"};
  EXPECT_FALSE(slope("p3", SrClass::a, 7'872'000));
  EXPECT_THAT(lines, ElementsAre("p3: the queues cannot be shaped: no queues"));
  EXPECT_TRUE(slope("p3", SrClass::a, 0));
  EXPECT_THAT(claims, IsEmpty());
}

TEST_F(StreamProgramTest, NothingIsProgrammedWhereThatIsOff) {
  reserve(kGroup, {"p2"});
  slope("p2", SrClass::a, 7'872'000);
  program->enabledIs(false, "br0");
  EXPECT_EQ(host.entries(), "");
  EXPECT_EQ(host.idleSlope("p2"), 0);
  EXPECT_EQ(reserve(kOtherGroup, {"p3"}), ReservationResult::ok);
  program->enabledIs(true, "br0");
  EXPECT_EQ(host.entries(), "p2 2/91:e0:f0:00:fe:01, p3 2/91:e0:f0:00:fe:02");
  EXPECT_EQ(host.idleSlope("p2"), 7'872);
}

// At 1 Gb/s: one stream of 1,500 octets in each class. Worked by hand from Annex L.
TEST_F(StreamProgramTest, ShapersFollowTheStandard) {
  portsAre(true, 1'000'000'000);
  EXPECT_TRUE(slope("p2", SrClass::b, 49'376'000));
  EXPECT_EQ(program->shaper(IntfId("p2"), SrClass::b), (CreditShaper{49376, -950624, 77, -1466}));
  EXPECT_TRUE(slope("p2", SrClass::a, 98'752'000));
  EXPECT_EQ(program->shaper(IntfId("p2"), SrClass::a), (CreditShaper{98752, -901248, 153, -1390}));
  // Class B may have to wait for what class A has saved up: 49,376 × (1542 / 901,248 + 1542 / 10⁶).
  EXPECT_EQ(program->shaper(IntfId("p2"), SrClass::b), (CreditShaper{49376, -950624, 161, -1466}));
  // Slopes are rounded so that what is reserved passes.
  EXPECT_TRUE(slope("p2", SrClass::a, 98'752'001));
  EXPECT_EQ(host.idleSlope("p2"), 98'753);
  portsAre(true, 100'000'000);
  EXPECT_EQ(program->shaper(IntfId("p2"), SrClass::b)->sendSlope, 49376 - 100000);
}

TEST_F(StreamProgramTest, FramesAreOfTheirClassInsideTheDomainAlone) {
  program->domainBoundaryIs(IntfId("p2"), SrClass::a, false);
  program->classesAre("br0");
  EXPECT_EQ(host.classes, (StreamHost::ClassPorts{{SrClass::a, {"p2"}}}));
  program->domainBoundaryIs(IntfId("p2"), SrClass::a, true);
  program->classesAre("br0");
  EXPECT_THAT(host.classes, IsEmpty());
}

}  // namespace
}  // namespace DaemonTest
