// An application that requests something from inside a transmission: the request that was being
// served goes on with its own value.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class InsideTransmissionTest : public EngineTest {
 protected:
  // Calls `then` once, from inside the first transmission on the first port.
  void duringTransmission(std::function<void()> then) {
    st.sw->onTransmit([this, then](IntfId intf, const Pkt&) {
      if (intf == one && !std::exchange(done, true)) then();
    });
  }

  Station st{kMvrp};
  IntfId one = st.port(1), two = st.port(2);
  bool done = false;
};

// Vectors of one VLAN each: the one of 574 fills the packet.
TEST_F(InsideTransmissionTest, RequestKeepsItsValue) {
  duringTransmission([this] { st.request(two, 4000, JoinIn); });
  for (std::uint16_t id = 2; id <= 572; id += 2) st.request(one, id, JoinIn);
  ASSERT_FALSE(done);
  st.request(one, 574, JoinIn);
  ASSERT_TRUE(done);
  EXPECT_EQ(st.value(one, 1, 574), vlan(574));
  EXPECT_EQ(st.value(two, 1, 4000), vlan(4000));
  st.clock->run(0.3);
  st.sent();
  st.engine->sendLeaveAll(one);
  std::string declared;
  for (const std::string& text : st.sent(one)) declared += text;
  EXPECT_NE(declared.find("1:574=JoinMt"), std::string::npos);
  EXPECT_EQ(declared.find("4000"), std::string::npos);
}

// The same while a received LeaveAll is answered, where the value comes from the record.
TEST_F(InsideTransmissionTest, AnswersKeepTheirValues) {
  for (std::uint16_t id = 2; id <= 700; id += 2) st.request(one, id, JoinIn);
  st.clock->run(0.3);
  st.sent();
  duringTransmission([this] {
    st.request(two, 4000, JoinIn);
    st.request(one, 4001, New);
  });
  st.receive(one, vlans(0, {}, true));
  st.clock->run(0.3);
  std::string declared;
  for (const std::string& text : st.sent(one)) declared += text + "; ";
  for (std::uint16_t id = 2; id <= 700; id += 2) {
    EXPECT_NE(declared.find(":" + std::to_string(id) + "=JoinMt"), std::string::npos) << id;
  }
  EXPECT_EQ(declared.find("4000"), std::string::npos);
}

}  // namespace
}  // namespace EngineTest
