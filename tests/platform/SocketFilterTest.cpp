#include "platform/packet/SocketFilter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Platform;
using namespace Platform::FilterCode;
using Program = std::vector<FilterInstruction>;

// What a valid program answers is compared with an interpreter of another origin by fuzzing.
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
    EXPECT_EQ(runSocketFilter(invalid[i], std::vector<std::uint8_t>(60)), 0u) << i;
  }
  const Program bothWays{{kLoadImm, 0, 0, 5}, {kJumpEqual, 0, 2, 5}, {kStore, 0, 0, 3},
                         {kJump, 0, 0, 1},    {kStoreX, 0, 0, 3},    {kLoadMem, 0, 0, 3},
                         {kReturnA, 0, 0, 0}};
  EXPECT_EQ(runSocketFilter(bothWays, {}), 5u);
  EXPECT_TRUE(filterIsValid(Program(4096, accept)));
}

}  // namespace
