// An engine has no limits of its own: a neighbour holds what there is memory for, unless whoever
// runs the engine says otherwise.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

TEST(UnlimitedTest, NineThousandStreamsUntilThereIsALimit) {
  const Randomisation fixed(false);
  Station st(kMsrp);
  const IntfId port = st.port(1);
  const Events joins(1000, JoinIn);
  for (unsigned n = 0; n < 9; ++n) {
    st.receive(port, streams(2, failed(1000 * n), joins));
  }
  EXPECT_EQ(st.registered(port, 2).size(), 9000u);
  EXPECT_EQ(st.engine->counters()->numOfRefusedEvents(), 0u);
  st.config->recommendedLimitsAre();
  st.receive(port, streams(2, failed(9000), joins));
  EXPECT_EQ(st.registered(port, 2).size(), 9000u) << "nothing is taken away";
  EXPECT_EQ(st.engine->counters()->numOfRefusedEvents(), 1000u);
}

}  // namespace
}  // namespace EngineTest
