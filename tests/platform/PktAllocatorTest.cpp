#include "platform/host/PktAllocator.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using namespace Platform;
using Host::PktAllocator;

TEST(PktAllocatorTest, ReleasedPacketsComeBackEmptyWithTheRoomAskedFor) {
  auto pkts = makePtr<PktAllocator>();
  Ptr<Pkt> pkt = pkts->pktIs(18, 1500);
  EXPECT_EQ(std::pair(pkt->headRoom(), pkt->size()), std::pair(std::size_t{18}, std::size_t{0}));
  EXPECT_GE(pkt->tailRoom(), 1500u);
  pkt->sizeIs(1500);
  const Pkt* first = pkt.get();
  Ptr<Pkt> second = pkt;
  pkt = nullptr;
  EXPECT_NE(pkts->pktIs(0, 1500).get(), first) << "still referenced";
  second = nullptr;
  pkt = pkts->pktIs(30, 1400);
  EXPECT_EQ(pkt.get(), first);
  EXPECT_EQ(std::pair(pkt->headRoom(), pkt->size()), std::pair(std::size_t{30}, std::size_t{0}));
  EXPECT_EQ(pkts->counters().inUse(), 1u);
  EXPECT_EQ(pkts->counters().created, 2u);
}

TEST(PktAllocatorTest, PacketsOutliveTheAllocator) {
  auto pkts = makePtr<PktAllocator>();
  Ptr<Pkt> a = pkts->pktIs(0, 100), b = pkts->pktIs(0, 100);
  pkts = nullptr;
  a = nullptr;
  b->sizeIs(100);
  b->data()[99] = 1;
}

TEST(PktAllocatorTest, FailsAsOftenAsTold) {
  auto pkts = makePtr<PktAllocator>();
  pkts->failNext(2);
  EXPECT_FALSE(pkts->pktIs(0, 1));
  EXPECT_FALSE(pkts->pktIs(0, 1));
  EXPECT_TRUE(pkts->pktIs(0, 1));
  pkts->failAll(true);
  EXPECT_FALSE(pkts->pktIs(0, 1));
  pkts->failAll(false);
  EXPECT_TRUE(pkts->pktIs(0, 1));
  pkts->failNext(1, 2);
  for (const bool had : {true, true, false, true}) EXPECT_EQ(!!pkts->pktIs(0, 1), had);
  EXPECT_EQ(pkts->counters().failed, 4u);
}

}  // namespace
