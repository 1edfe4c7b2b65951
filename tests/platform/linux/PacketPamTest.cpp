#include "platform/linux/PacketPam.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <system_error>

#include "platform/packet/GroupFilter.h"
#include "tests/platform/Engine.h"
#include "tests/platform/linux/Namespace.h"
#include "tests/platform/linux/Tap.h"

namespace PlatformTest {
namespace {

using Linux::PacketPam;

const EthAddr kGroup = EthAddr::fromNumber(0x0180c2000021);

class PacketPamTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    ns = Namespace::make(why);
    if (!ns) GTEST_SKIP() << why;
    loop = makePtr<Linux::Loop>();
    for (const char* n : {"1", "2"}) {
      const std::string a = std::string("a") + n, b = std::string("b") + n;
      EXPECT_TRUE(ns->ip("link add " + a + " type veth peer name " + b));
      EXPECT_TRUE(ns->ip("link set " + a + " up"));
      EXPECT_TRUE(ns->ip("link set " + b + " up"));
    }
  }
  Ptr<PacketPam> opened(const std::string& interface) {
    return makePtr<PacketPam>(
        loop, batch, interface,
        Host::PamConfig{
            .listenAddr = kGroup, .filter = groupFilter(kGroup, 0x88f5), .maxRxPktData = 10000});
  }
  static Tap::Octets toGroup(std::uint8_t mark, std::size_t size = 60) {
    Tap::Octets octets = frame(0x88f5, mark, size);
    std::copy(kGroup.octets().begin(), kGroup.octets().end(), octets.begin());
    return octets;
  }

  std::unique_ptr<Namespace> ns;
  Ptr<Linux::Loop> loop;
  Ptr<Linux::RxBatch> batch = makePtr<Linux::RxBatch>(makePtr<Host::PktAllocator>());
};

TEST_F(PacketPamTest, SendErrorsAreCountedByCauseAndTheEndpointGoesOn) {
  const auto pam = opened("a1");
  Tap far("b1");
  pam->txPktIs(packet(toGroup(1)));
  pam->txPktIs(packet(toGroup(2, 2000)));
  EXPECT_TRUE(ns->ip("link set a1 down"));
  pam->txPktIs(packet(toGroup(3)));
  pam->txPktIs(packet(toGroup(4)));
  loop->turn(0.01);  // the socket's own error
  EXPECT_TRUE(ns->ip("link set a1 up"));
  Reader reader(pam);
  EXPECT_TRUE(runUntil(*loop, [&] {
    far.send(toGroup(5));  // until there is carrier again
    return !reader.marks.empty();
  }));
  pam->txPktIs(packet(toGroup(6)));
  EXPECT_EQ(pam->counters().sent, 2u);
  EXPECT_EQ(pam->counters().sendErrors,
            (std::map<int, std::uint64_t>{{EMSGSIZE, 1}, {ENETDOWN, 2}}));
}

TEST_F(PacketPamTest, BusyPortStarvesNobody) {
  const auto busy = opened("a1"), quiet = opened("a2");
  Reader many(busy), few(quiet);
  Tap toBusy("b1"), toQuiet("b2");
  for (int i = 0; i < 1000; ++i) toBusy.send(toGroup(1));
  toQuiet.send(toGroup(2));
  ASSERT_TRUE(runUntil(*loop, [&] { return !few.marks.empty(); }));
  EXPECT_LE(many.marks.size(), 2 * Linux::RxBatch::kFrames);
  EXPECT_TRUE(runUntil(*loop, [&] { return many.marks.size() == 1000; }));
}

TEST_F(PacketPamTest, FramesThatNobodyReadsInTimeAreCountedAsDropped) {
  const auto pam = opened("a1");
  Reader reader(pam);
  Tap far("b1");
  constexpr std::size_t kFlood = 30000;
  for (std::size_t i = 0; i < kFlood; ++i) far.send(toGroup(1));
  EXPECT_TRUE(
      runUntil(*loop, [&] { return reader.marks.size() + pam->counters().dropped == kFlood; }));
  EXPECT_GT(pam->counters().dropped, 0u);
  EXPECT_EQ(pam->counters().received, reader.marks.size());
}

TEST_F(PacketPamTest, EndpointsAreRefusedWithInterfaceAndCause) {
  try {
    opened("nowhere");
    FAIL() << "opened";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), ENODEV);
    EXPECT_TRUE(std::string(error.what()).starts_with("nowhere: "));
  }
}

TEST_F(PacketPamTest, VanishedInterfaceSendsAndReceivesNothingMore) {
  const auto gone = opened("a1"), other = opened("a2");
  Reader reader(other);
  Tap far("b2");
  EXPECT_TRUE(ns->ip("link del a1"));
  gone->txPktIs(packet(toGroup(1)));
  loop->turn(0.01);
  EXPECT_FALSE(gone->rxPktWaiting());
  EXPECT_EQ(gone->counters().sendErrors.size(), 1u);
  far.send(toGroup(2));
  EXPECT_TRUE(runUntil(*loop, [&] { return reader.marks.size() == 1; }));
}

}  // namespace
}  // namespace PlatformTest
