#include "mrp/MrpSm/pdu/EventPacking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "mrp/MrpSm/pdu/MrpduLayout.h"
#include "tests/codec/OpenPacket.h"

namespace Mrp::Test {
namespace {

// The packed events of a whole vector, written from scratch: what any order of appending must give.
Octets packed(const std::vector<unsigned>& events, unsigned perOctet, unsigned base) {
  Octets octets;
  for (std::size_t i = 0; i < events.size(); i += perOctet) {
    unsigned octet = 0;
    for (std::size_t j = i; j < i + perOctet; ++j) {
      octet = octet * base + (j < events.size() ? events[j] : 0);
    }
    octets.push_back(static_cast<std::uint8_t>(octet));
  }
  return octets;
}

TEST(EventPacking, ReplacesOneEventOfAnOctetAndNoOther) {
  // New, JoinIn, Lv | Mt, Lv, JoinMt
  Octets three{0 * 36 + 1 * 6 + 5, 4 * 36 + 5 * 6 + 3};
  mrpEncodeThreePackedEvent(three.data(), 5, 1);
  mrpEncodeThreePackedEvent(three.data(), 2, 5);
  mrpEncodeThreePackedEvent(three.data(), 0, 6);
  EXPECT_EQ(three, (Octets{5 * 36 + 1 * 6 + 5, 4 * 36 + 2 * 6 + 0}));

  Octets four{0xE4, 0x1B};
  mrpEncodeFourPackedEvent(four.data(), MsrpListenerEvent::askingFailed, 1);
  mrpEncodeFourPackedEvent(four.data(), MsrpListenerEvent::ignore, 4);
  mrpEncodeFourPackedEvent(four.data(), MsrpListenerEvent::readyFailed, 5);
  mrpEncodeFourPackedEvent(four.data(), MsrpListenerEvent::ready, 8);
  EXPECT_EQ(four, (Octets{0x64, 0xDA}));
}

TEST(EventPacking, NumberOfValuesCarriesIntoTheHighOctet) {
  OpenPacket open;
  open.context.curVectorIs(0);
  open.write(0, {0x20, 0xFF});
  mrpPackThreePackedEvent(open.context, 1, 1, MrpApplication::mvrp);
  EXPECT_EQ(open.octets(0, 2), (Octets{0x21, 0x00}));
  EXPECT_EQ(open.data()[4 + 255 / 3], 36);
}

// Places behind the last value are whatever somebody has left there.
TEST(EventPacking, WritesItsDigitWhateverStandsInTheUnusedPlaces) {
  OpenPacket open;
  open.context.curVectorIs(0);
  open.write(0, {0x00, 0x01});
  open.write(4, {1 * 36 + 5 * 6 + 5, 0xFF});
  mrpPackThreePackedEvent(open.context, 1, 2, MrpApplication::mvrp);
  EXPECT_EQ(open.octets(4, 1), (Octets{1 * 36 + 2 * 6 + 5}));
  mrpPackThreePackedEvent(open.context, 1, 3, MrpApplication::mvrp);
  mrpPackThreePackedEvent(open.context, 1, 4, MrpApplication::mvrp);
  EXPECT_EQ(open.octets(4, 2), (Octets{1 * 36 + 2 * 6 + 3, 4 * 36}));
}

// Growth by hand for the first seven values, then every length up to two hundred values against a
// vector written from scratch.
TEST(EventPacking, ListenerVectorKeepsBothEventAreasContiguous) {
  constexpr std::size_t kStart = 4, kEvents = kStart + 10;
  OpenPacket open;
  open.context.curVectorIs(kStart);
  open.write(kStart, {0x20, 0x00});
  const std::size_t expectedGrowth[] = {2, 0, 0, 1, 1, 0, 1, 0, 1, 1, 0, 0, 2};

  std::mt19937 random(35);
  std::vector<unsigned> events, listenerEvents;
  std::size_t size = 0;
  for (std::size_t n = 1; n <= 200; ++n) {
    events.push_back(static_cast<unsigned>(random() % 6));
    listenerEvents.push_back(static_cast<unsigned>(random() % 4));
    const std::size_t grown =
        mrpPackThreeAndFourPackedEvent(open.context, static_cast<std::uint8_t>(events.back()),
                                       static_cast<MsrpListenerEvent>(listenerEvents.back()));
    if (n <= std::size(expectedGrowth)) {
      EXPECT_EQ(grown, expectedGrowth[n - 1]) << n;
    }
    size += grown;

    Octets expected = packed(events, 3, 6);
    const Octets four = packed(listenerEvents, 4, 4);
    expected.insert(expected.end(), four.begin(), four.end());
    ASSERT_EQ(size, expected.size()) << n;
    ASSERT_EQ(open.octets(kEvents, size), expected) << n;
    ASSERT_EQ(readU16(open.data() + kStart), 0x2000 + n);
  }
}

}  // namespace
}  // namespace Mrp::Test
