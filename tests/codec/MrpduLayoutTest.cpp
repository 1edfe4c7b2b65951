#include "mrp/MrpSm/pdu/MrpduLayout.h"

#include <gtest/gtest.h>

#include "platform/log/Trace.h"
#include "tests/codec/OpenPacket.h"

namespace Mrp::Test {
namespace {

using Platform::EthAddr;

std::vector<std::string> linesOf(const Platform::Trace& trace) {
  std::vector<std::string> lines;
  for (const auto& entry : trace.ring()) {
    lines.push_back(std::to_string(entry.level) + ":" + entry.text);
  }
  return lines;
}

struct MrpduLayout : testing::Test {
  MrpduLayout() { trace.levelIs(8); }
  Platform::Trace trace;
  OpenPacket open;
};

TEST_F(MrpduLayout, VectorSizesAndCounts) {
  struct Case {
    Octets header;
    std::uint16_t values;
    std::size_t mvrpSize;
  };
  const Case cases[] = {
      {{0x00, 0x00}, 0, 0},    {{0x20, 0x00}, 0, 4},       {{0x00, 0x01}, 1, 5},
      {{0x20, 0x03}, 3, 5},    {{0x00, 0x04}, 4, 6},       {{0x00, 0x06}, 6, 6},
      {{0x01, 0x00}, 256, 90}, {{0xFF, 0xFF}, 8191, 2735}, {{0x40, 0x00}, 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(mrpGetNumOfValues(c.header.data()), c.values) << int{c.header[0]};
    EXPECT_EQ(mvrpGetSizeOfVector(c.header.data()), c.mvrpSize) << c.values;
  }
}

// 1. VLANs 10 to 13 open a message: vector of 6 octets.
// 2. VLAN 20 is out of sequence and adds a vector of 5 octets after it.
// 3. A LeaveAll opens a new message: its end mark is measured from the message with the size of the
//    second vector, and lands on the last event octet of the first.
TEST_F(MrpduLayout, MvrpHeaderAfterTwoVectorsLandsInsideTheFirst) {
  mrpCreateNewMvrpHeader(open.context, 1, trace);
  open.write(2, {0x00, 0x04, 0x00, 0x0A, 43, 36});
  open.write(8, {0x00, 0x01, 0x00, 0x14, 36});
  open.context.curVectorIs(8);
  EXPECT_EQ(mrpGetNumOfPackedBytes(open.context, MrpApplication::mvrp), 13u);

  mrpCreateNewMvrpHeader(open.context, 1, trace);
  EXPECT_EQ(open.octets(0, 14), (Octets{1, 2, 0x00, 0x04, 0x00, 0x0A, 43,  // first vector, cut
                                        0, 0, 1, 2,                        // mark, new header
                                        0x14, 36, 0xEE}));
  EXPECT_EQ(open.context.curMessage(), 9u);
  EXPECT_EQ(open.context.curVector(), 11u);
}

TEST_F(MrpduLayout, UnknownTypeLeavesTypeAndLengthButMovesOn) {
  mrpCreateNewMsrpHeader(open.context, 3, trace);
  mrpCreateNewMsrpHeader(open.context, 5, trace);
  EXPECT_EQ(open.octets(4, 6), (Octets{0, 0, 0xEE, 0xEE, 0, 0}));
  EXPECT_EQ(open.context.curMessage(), 6u);
  EXPECT_EQ(open.context.curVector(), 10u);

  OpenPacket vlans;
  mrpCreateNewMvrpHeader(vlans.context, 2, trace);
  EXPECT_EQ(vlans.octets(0, 2), (Octets{0xEE, 0xEE}));
  EXPECT_EQ(vlans.context.curVector(), 2u);
  EXPECT_EQ(linesOf(trace), (std::vector<std::string>{"4: Invalid Attribute 5 to be encoded",
                                                      "4: Invalid Attribute 2 to be encoded"}));
}

TEST_F(MrpduLayout, NothingIsPackedWithoutMessageOrPacket) {
  MrpTxPacketContext noPacket(Platform::IntfId("port1"), nullptr);
  noPacket.curMessageIs(0);
  noPacket.curVectorIs(4);
  for (auto application : {MrpApplication::msrp, MrpApplication::mvrp}) {
    EXPECT_EQ(mrpGetNumOfPackedBytes(open.context, application), 0u);
    EXPECT_EQ(mrpGetNumOfPackedBytes(noPacket, application), 0u);
  }
  mrpCreateNewMsrpHeader(open.context, 1, trace);
  EXPECT_EQ(mrpGetNumOfPackedBytes(open.context, MrpApplication::none), 0u);
}

}  // namespace
}  // namespace Mrp::Test
