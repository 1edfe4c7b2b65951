#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>

#include "mrp/MrpMsrp/MsrpFirstValue.h"
#include "mrp/MrpMvrp/MvrpFirstValue.h"
#include "mrp/types/MrpAttribute.h"
#include "platform/log/Trace.h"
#include "tests/codec/OpenPacket.h"

namespace Mrp::Test {
namespace {

using Platform::EthAddr;
using Platform::PktReader;

const Octets kTalkerFailedOctets = {
    0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x00, 0x01,        // stream ID
    0x91, 0xE0, 0xF0, 0x00, 0xFE, 0x01, 0x00, 0x02,        // dmac, VLAN
    0x05, 0xDC, 0x00, 0x01, 0x70,                          // Tspec, priority and rank
    0x00, 0x01, 0xE2, 0x40,                                // accumulated latency
    0x80, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x07,  // bridge, failure code
};

MsrpTalkerFailedAttribute talkerFailed() {
  MsrpTalkerFailedAttribute v;
  v.talkerAdvertiseAttribute = {0x0011223344550001,
                                {EthAddr::fromNumber(0x91E0F000FE01), 2},
                                {1500, 1},
                                PriorityAndRank::create(3, 1),
                                123456};
  v.failureInformation = {0x800002000000000A, 7};
  return v;
}

Platform::Ptr<Platform::Pkt> pktOf(const Octets& octets) {
  auto pkt = Platform::makePtr<Platform::Pkt>(octets.size());
  pkt->append(octets);
  return pkt;
}

TEST(Values, ReadingAFirstValueConsumesItExactlyAndDropsReservedBits) {
  Octets octets = kTalkerFailedOctets;
  octets[20] = 0x7F;
  octets.push_back(0xAA);
  auto pkt = pktOf(octets);
  PktReader reader(*pkt);
  MsrpTalkerFailedAttribute failed;
  ASSERT_TRUE(parseTalkerFailed(reader, failed));
  EXPECT_EQ(failed, talkerFailed());
  EXPECT_EQ(reader.left(), 1u);

  pkt = pktOf(octets);
  PktReader again(*pkt);
  MsrpTalkerAdvertiseAttribute advertise;
  ASSERT_TRUE(parseTalkerAdvertise(again, advertise));
  EXPECT_EQ(advertise, talkerFailed().talkerAdvertiseAttribute);
  EXPECT_EQ(again.left(), 10u);
  MsrpListenerAttribute listener{1, MsrpListenerEvent::ready};
  ASSERT_TRUE(parseListener(again, listener));
  EXPECT_EQ(listener, (MsrpListenerAttribute{0x800002000000000A, MsrpListenerEvent::ready}));
  EXPECT_EQ(again.left(), 2u);
}

TEST(Values, ReadingFromTooFewOctetsConsumesNothing) {
  auto refuses = [](auto value, auto parse) {
    const auto before = value;
    const std::size_t firstValue =
        std::is_same_v<decltype(value), MsrpListenerAttribute> ? 8 : sizeof value;
    auto pkt = pktOf(Octets(firstValue - 1, 0x55));
    PktReader reader(*pkt);
    EXPECT_FALSE(parse(reader, value));
    EXPECT_EQ(reader.left(), firstValue - 1);
    EXPECT_EQ(value, before);
  };
  refuses(talkerFailed().talkerAdvertiseAttribute, parseTalkerAdvertise);
  refuses(talkerFailed(), parseTalkerFailed);
  refuses(MsrpListenerAttribute{}, [](PktReader& r, auto& v) { return parseListener(r, v); });
  refuses(MsrpListenerStreamAttribute{}, [](PktReader& r, auto& v) { return parseListener(r, v); });
  refuses(MsrpDomainAttribute{}, parseDomain);
  refuses(MvrpVlanAttribute{}, parseVlan);
}

TEST(Values, IncrementCarriesAndWrapsWithinEachField) {
  Platform::Trace trace;
  MsrpTalkerAdvertiseAttribute talker = talkerFailed().talkerAdvertiseAttribute;
  talker.streamId = 0xFFFF;
  talker.frame.dmac = EthAddr::fromNumber(0x91E0F000FEFF);
  MsrpTalkerAdvertiseAttribute next = talker;
  next.streamId = 0x10000;
  next.frame.dmac = EthAddr::fromNumber(0x91E0F000FF00);
  mrpIncrementTalkerAdvertise(talker, trace);
  EXPECT_EQ(talker, next);

  MsrpTalkerFailedAttribute failed = talkerFailed();
  failed.talkerAdvertiseAttribute.streamId = ~std::uint64_t{0};
  failed.talkerAdvertiseAttribute.frame.dmac = EthAddr::fromNumber(0xFFFFFFFFFFFF);
  MsrpTalkerFailedAttribute nextFailed = talkerFailed();
  nextFailed.talkerAdvertiseAttribute.streamId = 0;
  nextFailed.talkerAdvertiseAttribute.frame.dmac = EthAddr{};
  mrpIncrementTalkerFailed(failed, trace);
  EXPECT_EQ(failed, nextFailed);

  MsrpListenerAttribute listener{~std::uint64_t{0}, MsrpListenerEvent::readyFailed};
  mrpIncrementListenerVector(listener, trace);
  EXPECT_EQ(listener, (MsrpListenerAttribute{0, MsrpListenerEvent::readyFailed}));

  MsrpDomainAttribute domain{6, 255, 2};
  mrpIncrementDomainVector(domain, trace);
  EXPECT_EQ(domain, (MsrpDomainAttribute{7, 0, 2}));

  MvrpVlanAttribute vlan{0xFFFF};
  mrpIncrementVlanVector(vlan, trace);
  EXPECT_EQ(vlan, MvrpVlanAttribute{0});
}

TEST(Values, PriorityAndRankFillsTheUpperFiveBits) {
  EXPECT_EQ(PriorityAndRank::create(3, 1).octet(), 0x70);
  EXPECT_EQ(PriorityAndRank::fromReceived(0x7F), PriorityAndRank::create(3, 1));
  EXPECT_EQ(PriorityAndRank::fromReceived(0xEF), PriorityAndRank::create(7, 0));
  EXPECT_LT(PriorityAndRank::create(2, 1), PriorityAndRank::create(3, 0));
}

TEST(DataModel, ValueIndexStopsAt64) {
  EXPECT_EQ(ValueIndex(64).value(), 64);
  for (std::size_t tooLarge : {std::size_t{65}, std::size_t{256}}) {
    try {
      ValueIndex index(tooLarge);
      ADD_FAILURE() << int{index.value()};
    } catch (const std::range_error& e) {
      EXPECT_STREQ(e.what(),
                   "ValueIndex::value < ValueIndex::min or > ValueIndex::max not allowed");
    }
  }
}

TEST(DataModel, AttributesOrderByPortThenTypeThenKey) {
  const IntfId port2("port2"), port10("port10");
  const MrpAttribute ordered[] = {{port2, 1, 9}, {port2, 3, 1}, {port2, 3, 2}, {port10, 1, 1}};
  for (std::size_t i = 1; i < std::size(ordered); ++i) EXPECT_LT(ordered[i - 1], ordered[i]) << i;

  // Dense keys on several ports must not share hashes: they are what every port has.
  std::unordered_set<std::size_t> hashes;
  for (const IntfId& port : {port2, port10}) {
    for (std::uint8_t type : {std::uint8_t{1}, std::uint8_t{3}}) {
      for (std::uint64_t key = 1; key <= 4094; ++key) {
        hashes.insert(std::hash<MrpAttribute>{}({port, type, key}));
      }
    }
  }
  EXPECT_EQ(hashes.size(), 4u * 4094);

  std::ostringstream out;
  out << std::hex << ordered[0] << MrpParameters{port10, 4, kLeaveAllEvent};
  EXPECT_EQ(out.str(), "{port2 1 9}{port10 4 6}");
}

}  // namespace
}  // namespace Mrp::Test
