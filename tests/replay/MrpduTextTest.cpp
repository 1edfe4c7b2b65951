#include "cli/replay/MrpduText.h"

#include <gmock/gmock.h>

#include "tests/replay/Support.h"

namespace {

using namespace ReplayTest;
using Cli::mrpduText;
using testing::ElementsAre;
using testing::IsEmpty;

Cli::Octets msrpFrame(const std::string& pdu) {
  return octets("0180c200000e00107f00000222ea" + pdu);
}

TEST(MrpduText, TellsEveryVector) {
  EXPECT_THAT(
      mrpduText(mvrpFrame("000102200000002004006415b400000000")),
      ElementsAre("VLAN: LeaveAll", "VLAN: LeaveAll, 4 values from 100: New JoinMt JoinMt Lv"));
  // Two octets of three-packed events, then two of listener declarations.
  EXPECT_THAT(mrpduText(msrpFrame(
                  "0003080010000500107f00000100012a2ab6800000040400090001060300022400000000")),
              ElementsAre("listener: 5 values from 00:10:7f:00:00:01:0001: JoinIn/ready "
                          "JoinIn/readyFailed New/askingFailed JoinIn/ready JoinIn/ready",
                          "domain: class A, priority 3, VLAN 2: JoinIn"));
}

TEST(MrpduText, SaysWhereAFrameCannotBeUnderstood) {
  EXPECT_THAT(mrpduText({}), ElementsAre("not an MRPDU"));
  EXPECT_THAT(mrpduText(mvrpFrame("")), ElementsAre("(cut off)"));
  EXPECT_THAT(mrpduText(mvrpFrame("00")), IsEmpty());
  EXPECT_THAT(mrpduText(mvrpFrame("0001020002000124000001")),
              ElementsAre("VLAN: 2 values from 1: JoinIn New", "(cut off)"));
  EXPECT_THAT(mrpduText(mvrpFrame("0001021fff000124")), ElementsAre("(cut off)"));
  // A type and a length of their own; a digit that no event has.
  EXPECT_THAT(mrpduText(mvrpFrame("0107030001010203ff00000000")),
              ElementsAre("ProtocolVersion 1", "type 7: 010203: 7"));
}

}  // namespace
