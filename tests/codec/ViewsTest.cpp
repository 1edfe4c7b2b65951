#include <gtest/gtest.h>

#include "mrp/MrpMsrp/MsrpViews.h"
#include "mrp/MrpMvrp/MvrpViews.h"
#include "platform/packet/Pkt.h"

namespace Mrp::Test {
namespace {

Platform::Ptr<Platform::Pkt> countingPkt(std::size_t size) {
  auto pkt = Platform::makePtr<Platform::Pkt>(8 + size);
  pkt->reset(8);
  pkt->sizeIs(size);
  for (std::size_t i = 0; i < size; ++i) pkt->data()[i] = static_cast<std::uint8_t>(i);
  return pkt;
}

TEST(Views, ShowTheRecordAtTheirOffset) {
  auto pkt = countingPkt(60);
  auto talker = msrpTalkerVectorWrapperFactory(pkt, 19);
  EXPECT_EQ(talker.offset(), 19u);
  EXPECT_EQ(talker.header()->vectorHeader, 0x1314);
  EXPECT_EQ(talker.header()->firstValue.streamId, 0x15161718191A1B1Cu);
  EXPECT_EQ(talker.header()->firstValue.accumulatedLatency, 0x2A2B2C2Du);
  EXPECT_EQ(msrpMessageHeaderWrapperFactory(pkt, 1).header()->attributeListLength, 0x0304);
  EXPECT_EQ(mvrpVlanVectorWrapperFactory(pkt, 2).header()->firstValue.vlanId, 0x0405);
}

// The room is 40 octets for every view, whatever it shows; each names itself when it is missing.
TEST(ViewsDeathTest, NeedFortyOctetsFromTheirOffset) {
  auto pkt = countingPkt(60);
  auto fits = [&](auto factory) { EXPECT_EQ(factory(pkt, 20).offset(), 20u); };
  auto lacks = [&](auto factory, const std::string& name) {
    const std::string text =
        "\\( offset_ \\+ sizeof\\( " + name + " \\) \\) <= pkt_->frontBytes\\(\\)";
    EXPECT_DEATH(factory(pkt, 21), text);
  };
  fits(msrpMessageHeaderWrapperFactory);
  fits(msrpTalkerFailedVectorWrapperFactory);
  fits(mvrpMessageHeaderWrapperFactory);
  lacks(msrpMessageHeaderWrapperFactory, "MsrpMessageHeaderWrapper");
  lacks(msrpTalkerVectorWrapperFactory, "MsrpTalkerVectorWrapper");
  lacks(msrpTalkerFailedVectorWrapperFactory, "MsrpTalkerFailedVectorWrapper");
  lacks(msrpListenerVectorWrapperFactory, "MsrpListenerVectorWrapper");
  lacks(msrpDomainVectorWrapperFactory, "MsrpDomainVectorWrapper");
  lacks(mvrpMessageHeaderWrapperFactory, "MvrpMessageHeaderWrapper");
  lacks(mvrpVlanVectorWrapperFactory, "MvrpVlanVectorWrapper");
  // A sum that wraps round is no way in.
  EXPECT_DEATH(mvrpVlanVectorWrapperFactory(pkt, ~std::size_t{0}), "MvrpVlanVectorWrapper");
}

}  // namespace
}  // namespace Mrp::Test
