#include "platform/packet/SocketFilter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Platform;
using namespace Platform::FilterCode;
using Program = std::vector<FilterInstruction>;

// What whole programs answer to frames is compared with an interpreter of another origin by
// fuzzing.
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
      // nor does the first of two jumps to it
      {{kJumpEqual, 2, 0, 0}, {kStore, 0, 0, 3}, {kJump, 0, 0, 0}, {kLoadMem, 0, 0, 3}, accept},
      Program(4097, accept),
  };
  for (std::size_t i = 0; i < invalid.size(); ++i) {
    EXPECT_FALSE(filterIsValid(invalid[i])) << i;
    EXPECT_EQ(runSocketFilter(invalid[i], std::vector<std::uint8_t>(60)), 0u) << i;
  }
  const Program bothWays{{kLoadImm, 0, 0, 5}, {kJumpEqual, 0, 2, 5}, {kStore, 0, 0, 3},
                         {kJump, 0, 0, 1},    {kStoreX, 0, 0, 3},    {kLoadMem, 0, 0, 3},
                         {kReturnA, 0, 0, 0}};
  EXPECT_EQ(runSocketFilter(bothWays, {}), 5u);
  EXPECT_TRUE(filterIsValid(Program(4096, accept)));
}

}  // namespace
