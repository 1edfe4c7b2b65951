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
      mrpduText(mvrpFrame("00"
                          "0102"
                          "2000"
                          "0000"
                          "2004"
                          "0064"
                          "15"
                          "b4"
                          "0000"
                          "0000")),
      ElementsAre("VLAN: LeaveAll", "VLAN: LeaveAll, 4 values from 100: New JoinMt JoinMt Lv"));
  // Two octets of three-packed events, then two of listener declarations.
  EXPECT_THAT(
      mrpduText(msrpFrame("00"
                          "0308"
                          "0010"
                          "0005"
                          "00107f0000010001"
                          "2a2a"
                          "b680"
                          "0000"
                          "0404"
                          "0009"
                          "0001"
                          "06030002"
                          "24"
                          "0000"
                          "0000")),
      ElementsAre("listener: 5 values from 00:10:7f:00:00:01:0001: JoinIn/ready JoinIn/readyFailed "
                  "New/askingFailed JoinIn/ready JoinIn/ready",
                  "domain: class A, priority 3, VLAN 2: JoinIn"));
}

TEST(MrpduText, SaysWhereAFrameCannotBeUnderstood) {
  EXPECT_THAT(mrpduText({}), ElementsAre("not an MRPDU"));
  EXPECT_THAT(mrpduText(mvrpFrame("")), ElementsAre("(cut off)"));
  EXPECT_THAT(mrpduText(mvrpFrame("00")), IsEmpty());
  EXPECT_THAT(mrpduText(mvrpFrame("00"
                                  "0102"
                                  "0002"
                                  "0001"
                                  "24"
                                  "0000"
                                  "01")),
              ElementsAre("VLAN: 2 values from 1: JoinIn New", "(cut off)"));
  EXPECT_THAT(mrpduText(mvrpFrame("00"
                                  "0102"
                                  "1fff"
                                  "0001"
                                  "24")),
              ElementsAre("(cut off)"));
  // A type and a length of their own; a digit that no event has.
  EXPECT_THAT(mrpduText(mvrpFrame("01"
                                  "0703"
                                  "0001"
                                  "010203"
                                  "ff"
                                  "0000"
                                  "0000")),
              ElementsAre("ProtocolVersion 1", "type 7: 010203: 7"));
}

TEST(MrpduText, ReadsNoOctetBeyondAFrame) {
  const Cli::Octets whole = msrpFrame(
      "00"
      "0308"
      "0010"
      "0005"
      "00107f0000010001"
      "2a2a"
      "b680"
      "0000"
      "0000");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    // In its own allocation, so that a sanitizer sees the end.
    mrpduText(Cli::Octets(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    Cli::Octets changed = whole;
    for (const int octet : {0xff, 0x00, 0x80}) {
      changed[size] = static_cast<std::uint8_t>(octet);
      mrpduText(changed);
    }
  }
}

}  // namespace
