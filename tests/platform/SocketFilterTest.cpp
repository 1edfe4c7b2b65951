#include "platform/packet/SocketFilter.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/packet/GroupFilter.h"

namespace {

using namespace Platform;
using namespace Platform::FilterCode;
using Program = std::vector<FilterInstruction>;
using Frame = std::vector<std::uint8_t>;

Frame frame(std::initializer_list<std::uint8_t> head, std::size_t size = 60) {
  Frame octets(head);
  octets.resize(size);
  return octets;
}

TEST(SocketFilter, GroupAddressAndTypeBehindOneTag) {
  const Program program = groupFilter(EthAddr::fromNumber(0x0180c2000021), 0x88f5);
  ASSERT_TRUE(filterIsValid(program));
  const auto run = [&](const Frame& f) { return runSocketFilter(program, f); };
#define MACS 0x01, 0x80, 0xc2, 0x00, 0x00, 0x21, 2, 0, 0, 0, 0, 1
  EXPECT_EQ(run(frame({MACS, 0x88, 0xf5})), 0xffffu);
  EXPECT_EQ(run(frame({MACS, 0x88, 0xf5}, 14)), 0xffffu);
  EXPECT_EQ(run(frame({MACS, 0x81, 0x00, 0, 1, 0x88, 0xf5}, 18)), 0xffffu);
  EXPECT_EQ(run(frame({MACS, 0x81, 0x00, 0, 1, 0x88, 0xf5}, 17)), 0u) << "type cut off";
  EXPECT_EQ(run(frame({MACS, 0x88, 0xa8, 0, 1, 0x88, 0xf5})), 0u) << "another tag";
  EXPECT_EQ(run(frame({MACS, 0x81, 0, 0, 1, 0x81, 0, 0, 1, 0x88, 0xf5})), 0u) << "two tags";
  EXPECT_EQ(run(frame({MACS, 0x22, 0xea})), 0u);
  EXPECT_EQ(run(frame({MACS, 0x88, 0xf5}, 13)), 0u);
#undef MACS
  Frame other = frame({0x01, 0x80, 0xc2, 0x00, 0x00, 0x20, 2, 0, 0, 0, 0, 1, 0x88, 0xf5});
  EXPECT_EQ(run(other), 0u);
  other[5] = 0x21, other[0] = 0x03;
  EXPECT_EQ(run(other), 0u) << "upper half of the address";
}

TEST(SocketFilter, LoadsBeyondTheFrameDropIt) {
  const Frame f{0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
  const auto load = [&](std::uint16_t code, std::uint32_t k, std::uint32_t x = 0) {
    return runSocketFilter(Program{{kLoadXImm, 0, 0, x}, {code, 0, 0, k}, {kReturnA, 0, 0, 0}}, f);
  };
  EXPECT_EQ(load(kLoadWordAbs, 2), 0x33445566u);
  EXPECT_EQ(load(kLoadWordAbs, 3), 0u);
  EXPECT_EQ(load(kLoadHalfAbs, 4), 0x5566u);
  EXPECT_EQ(load(kLoadHalfAbs, 5), 0u);
  EXPECT_EQ(load(kLoadByteAbs, 5), 0x66u);
  EXPECT_EQ(load(kLoadByteAbs, 6), 0u);
  EXPECT_EQ(load(kLoadWordAbs, 0xffffffff), 0u);
  EXPECT_EQ(load(kLoadHalfInd, 1, 3), 0x5566u);
  EXPECT_EQ(load(kLoadHalfInd, 2, 3), 0u);
  EXPECT_EQ(load(kLoadByteInd, 1, 0xffffffff), 0x11u) << "X + K is a 32-bit sum";
  EXPECT_EQ(load(kLoadLen, 0), 6u);
  EXPECT_EQ(
      runSocketFilter(Program{{kLoadXIpHeader, 0, 0, 3}, {kTxa, 0, 0, 0}, {kReturnA, 0, 0, 0}}, f),
      16u);
  const Program beyond{{kLoadXIpHeader, 0, 0, 6}, {kReturn, 0, 0, 1}};
  EXPECT_EQ(runSocketFilter(beyond, f), 0u);
}

TEST(SocketFilter, ArithmeticWithBothOperands) {
  struct Case {
    std::uint16_t codeK, codeX;
    std::uint32_t a, operand, result;
  };
  for (const Case& c : {Case{kAddK, kAddX, 0xffffffff, 3, 2},
                        {kSubK, kSubX, 1, 3, 0xfffffffe},
                        {kMulK, kMulX, 0x10001, 0x10001, 0x20001},
                        {kDivK, kDivX, 17, 5, 3},
                        {kModK, kModX, 17, 5, 2},
                        {kAndK, kAndX, 0xff0, 0x0ff, 0x0f0},
                        {kOrK, kOrX, 0xf00, 0x00f, 0xf0f},
                        {kXorK, kXorX, 0xff0, 0x0ff, 0xf0f},
                        {kLshK, kLshX, 0x80000001, 4, 0x10},
                        {kRshK, kRshX, 0x80000001, 4, 0x8000000}}) {
    const Program k{{kLoadImm, 0, 0, c.a}, {c.codeK, 0, 0, c.operand}, {kReturnA, 0, 0, 0}};
    const Program x{{kLoadImm, 0, 0, c.operand},
                    {kTax, 0, 0, 0},
                    {kLoadImm, 0, 0, c.a},
                    {c.codeX, 0, 0, 0},
                    {kReturnA, 0, 0, 0}};
    EXPECT_EQ(runSocketFilter(k, {}), c.result) << std::hex << c.codeK;
    EXPECT_EQ(runSocketFilter(x, {}), c.result) << std::hex << c.codeX;
  }
  const Program neg{{kLoadImm, 0, 0, 1}, {kNeg, 0, 0, 0}, {kReturnA, 0, 0, 0}};
  EXPECT_EQ(runSocketFilter(neg, {}), 0xffffffffu);
  for (const std::uint16_t code : {kDivX, kModX}) {
    const Program byZero{{kLoadImm, 0, 0, 9}, {code, 0, 0, 0}, {kReturn, 0, 0, 1}};
    EXPECT_EQ(runSocketFilter(byZero, {}), 0u);
  }
}

TEST(SocketFilter, JumpsCompareUnsigned) {
  const auto taken = [](std::uint16_t code, std::uint32_t a, std::uint32_t operand) {
    const Program p{{kLoadXImm, 0, 0, operand},
                    {kLoadImm, 0, 0, a},
                    {code, 1, 0, operand},
                    {kReturn, 0, 0, 1},
                    {kReturn, 0, 0, 2}};
    return runSocketFilter(p, {}) == 2;
  };
  for (const auto code : {kJumpGreater, kJumpGreaterX}) {
    EXPECT_TRUE(taken(code, 0xffffffff, 1));
    EXPECT_FALSE(taken(code, 5, 5));
  }
  for (const auto code : {kJumpGreaterEqual, kJumpGreaterEqualX}) {
    EXPECT_TRUE(taken(code, 5, 5));
    EXPECT_FALSE(taken(code, 4, 5));
  }
  for (const auto code : {kJumpSet, kJumpSetX}) {
    EXPECT_TRUE(taken(code, 6, 3));
    EXPECT_FALSE(taken(code, 4, 3));
  }
  EXPECT_TRUE(taken(kJumpEqualX, 7, 7));
}

TEST(SocketFilter, RefusesWhatTheKernelRefuses) {
  const FilterInstruction accept{kReturn, 0, 0, 9};
  const std::vector<Program> invalid = {
      {},
      {{kLoadImm, 0, 0, 1}},
      {{kJump, 0, 0, 1}, accept},
      {{kJump, 0, 0, 0xffffffff}, accept},
      {{kJumpEqual, 1, 0, 0}, accept},
      {{kJumpEqual, 0, 1, 0}, accept},
      {{kStore, 0, 0, 16}, accept},
      {{kLoadMem, 0, 0, 0}, accept},
      {{kDivK, 0, 0, 0}, accept},
      {{kModK, 0, 0, 0}, accept},
      {{kLshK, 0, 0, 32}, accept},
      {{0x66, 0, 0, 0}, accept},
      // one of two ways to the load does not write the word
      {{kJumpEqual, 0, 1, 0}, {kStore, 0, 0, 3}, {kLoadMem, 0, 0, 3}, accept},
      Program(4097, accept),
  };
  for (std::size_t i = 0; i < invalid.size(); ++i) {
    EXPECT_FALSE(filterIsValid(invalid[i])) << i;
    EXPECT_EQ(runSocketFilter(invalid[i], Frame(60)), 0u) << i;
  }
  const Program bothWays{{kLoadImm, 0, 0, 5}, {kJumpEqual, 0, 2, 5}, {kStore, 0, 0, 3},
                         {kJump, 0, 0, 1},    {kStoreX, 0, 0, 3},    {kLoadMem, 0, 0, 3},
                         {kReturnA, 0, 0, 0}};
  EXPECT_EQ(runSocketFilter(bothWays, {}), 5u);
  EXPECT_TRUE(filterIsValid(Program(4096, accept)));
}

}  // namespace
