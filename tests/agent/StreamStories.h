#pragma once

#include <gmock/gmock.h>

#include "tests/agent/StreamBridge.h"

// Streams through one bridge, told as stories: who declares what where, and what the switch is
// told.
//
//   talker --- port1 | bridge | port2, port3, port4 --- listeners
namespace EngineTest {

inline constexpr BitsPerSecond kMega = 1'000'000;

class StreamStoriesTest : public EngineTest {
 protected:
  // Streams of one shape with consecutive identifiers.
  void advertise(unsigned first, unsigned count, TalkerOf shape = {}) {
    for (unsigned id = first; id < first + count; ++id) {
      shape.id = id;
      b.advertise(1, shape);
    }
  }
  void TearDown() override { EXPECT_EQ(b.review(), ""); }

  StreamBridge b;
  const TalkerOf s;
};

}  // namespace EngineTest
