// The role of a port that the engine has stored: what the next change is judged by.

#include "tests/engine/internal/Machines.h"

namespace EngineTest {
namespace {

class PortRoleTest : public EngineTest {
 protected:
  void role(IntfId of, Role r, const std::string& msti = "Cist", const std::string& stpi = "one") {
    auto& ports = st.sw->stpStatus()->childIs(stpi).childIs(msti);
    ports.childIs(of.name()).roleIs(r);
  }

  Station st{kMvrp};
  IntfId port = st.port(1);
};

TEST_F(PortRoleTest, OtherTransitionsOnlyChangeTheStoredRole) {
  st.receive(port, vlans(10, {JoinIn}));
  for (const Role r :
       {Role::alternate, Role::backup, Role::designated, Role::root, Role::designated, Role::backup,
        Role::alternate, Role::none, Role::root, Role::none}) {
    role(port, r);
    EXPECT_EQ(machines(st).oldPortRole(port), r);
    EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/IN"});
  }
}

TEST_F(PortRoleTest, OnlyTheGoverningInstanceOfAnEnabledPortCounts) {
  const IntfId away("port9");
  st.receive(port, vlans(10, {JoinIn}));
  role(port, Role::designated, "Mst1");
  role(port, Role::alternate, "Mst1");
  role(away, Role::designated);
  EXPECT_FALSE(machines(st).oldPortRole(port));
  EXPECT_FALSE(machines(st).oldPortRole(away));
  EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/IN"});
  // A second spanning-tree instance with the governing name counts as well.
  role(port, Role::designated, "Cist", "two");
  EXPECT_EQ(machines(st).oldPortRole(port), Role::designated);
  // The mode decides anew at each change.
  st.sw->stpStatus()->modeIs(0xFFFFFFFF);
  role(port, Role::root, "NoStp");
  EXPECT_EQ(machines(st).oldPortRole(port), Role::root);
}

}  // namespace
}  // namespace EngineTest
