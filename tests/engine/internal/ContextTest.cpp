// The current attribute, and look-ups that find none.

#include "tests/engine/internal/Machines.h"

namespace EngineTest {
namespace {

using ContextTest = EngineTest;

TEST_F(ContextTest, RequestsPutTheCurrentAttributeBack) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  MrpParseContext& context = *machines(st).parseContext();
  context.intfIdIs(IntfId("port2"));
  context.attributeTypeIs(3);
  context.attributeKeyIs(77);
  st.request(port, 10, New);
  EXPECT_EQ(context.intfId(), IntfId("port2"));
  EXPECT_EQ(context.attributeType(), 3);
  EXPECT_EQ(context.attributeKey(), 77u);
}

TEST_F(ContextTest, IndicationsPutTheCurrentAttributeBack) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  st.receive(p2, vlans(99, {New}));
  st.lib->onJoin = [&](const MrpParameters&) {
    st.engine->sendLeaveAll(p2);
    return false;
  };
  st.receive(p1, vlans(10, {JoinIn}));
  EXPECT_EQ(machines(st).parseContext()->intfId(), p1);
  EXPECT_EQ(machines(st).parseContext()->attributeKey(), 10u);
}

TEST_F(ContextTest, IndexOfNothingIsNone) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  EXPECT_FALSE(machines(st).mrpAttrIter({IntfId("elsewhere"), 1}));
  EXPECT_FALSE(machines(st).mrpGetAttrFromDatabase(IntfId("elsewhere"), 1, 10, true));
  st.request(port, 10, New);
  EXPECT_TRUE(machines(st).mrpAttrIter({port, 1}));
  EXPECT_FALSE(machines(st).mrpGetAttrFromDatabase(port, 1, 10, false)) << "not committed yet";
  st.request(port, 10, Lv);
  EXPECT_FALSE(machines(st).mrpAttrIter({port, 1}));
}

}  // namespace
}  // namespace EngineTest
