// Trace lines that operators look for, and the silence of those that are off.

#include <algorithm>

#include "mrp/MrpSm/env/EventLogs.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class TraceTest : public EngineTest {
 protected:
  TraceTest() {
    st.sw->trace().sinkAdd([this](const Trace::Entry& entry) { entries.push_back(entry); });
  }
  // The level of a line, -2 when it has not come.
  int levelOf(const std::string& text) const {
    const auto it = std::find_if(entries.begin(), entries.end(),
                                 [&](const Trace::Entry& entry) { return entry.text == text; });
    return it == entries.end() ? -2 : it->level;
  }

  std::vector<Trace::Entry> entries;  // outlives the engine, whose end is traced
  Station st{kMvrp};
  IntfId port = st.port(1);
};

TEST_F(TraceTest, LineThatIsOffEvaluatesNothing) {
  int built = 0;
  const auto text = [&] { return std::to_string(++built); };
  for (const int level : {0, 4, 7}) {
    st.sw->trace().levelIs(level);
    MRP_TRACE(st.sw->trace(), 8, "line " << text());
  }
  EXPECT_EQ(built, 0);
  st.sw->trace().levelIs(8);
  MRP_TRACE(st.sw->trace(), 8, "line " << text());
  EXPECT_EQ(levelOf("line 1"), 8);
  st.sw->eventLog().onIs(false);
  logEvent(st.sw->eventLog(), kMrpError, text);
  EXPECT_EQ(built, 1);
}

TEST_F(TraceTest, LevelFourShowsFaultsOnly) {
  st.sw->trace().levelIs(4);
  Octets wrong = frame(kMvrp, vlans(10, {JoinIn}));
  wrong[13] ^= 1;
  st.sw->receive(port, wrong);
  wrong[5] ^= 1;
  st.sw->receive(port, wrong);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, {2, 1, 2, 0, 1, 0, 10, 36, 0, 0, 0, 0});
  st.receive(port, {0, 7, 2, 0, 1, 0, 10, 36, 0, 0, 0, 0});
  st.request(port, 1, vlan(1), In);
  st.request(IntfId("port9"), 10, New);
  EXPECT_EQ(levelOf("Received frame with incorrect EtherType -- ignoring"), 4);
  EXPECT_EQ(levelOf("Received frame with incorrect DMAC -- ignoring"), 2);
  EXPECT_EQ(levelOf("MRPDU protocol version2 is greater than the current supported version 0"), 4);
  EXPECT_EQ(levelOf(" ######## Invalid attribute length = 2 or Invalid attribute type = 7"), 4);
  EXPECT_EQ(levelOf("Event = 2 not handled in sendAttributeIntf "), 4);
  EXPECT_EQ(levelOf(" Tx is being Attempted before the PAM is enabled "), 4);
  for (const Trace::Entry& entry : entries) EXPECT_LE(entry.level, 4) << entry.text;
}

}  // namespace
}  // namespace EngineTest
