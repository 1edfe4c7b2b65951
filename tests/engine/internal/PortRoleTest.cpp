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
  // A second spanning-tree instance with the governing name counts as well; one that has gone and
  // come back is watched anew, in the role it then has.
  role(port, Role::designated, "Cist", "two");
  EXPECT_EQ(machines(st).oldPortRole(port), Role::designated);
  st.sw->stpStatus()->childDel("two");
  auto& ports = st.sw->stpStatus()->childIs("two").childIs("Cist");
  auto status = makePtr<Stp::MstiPortStatus>();
  status->roleIs(Role::alternate);
  ports.childIs(port.name(), status);
  EXPECT_EQ(machines(st).oldPortRole(port), Role::alternate);
  EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/MT"});
  ports.childDel(port.name());
  status->roleIs(Role::root);
  EXPECT_EQ(machines(st).oldPortRole(port), Role::alternate) << "no longer watched";
  // The mode decides anew at each change.
  st.sw->stpStatus()->modeIs(0xFFFFFFFF);
  role(port, Role::root, "NoStp");
  EXPECT_EQ(machines(st).oldPortRole(port), Role::root);
}

// Instances that existed before the engine are watched from the start, and none after its end.
TEST_F(PortRoleTest, InstancesOutliveEngines) {
  st.engine = nullptr;
  role(port, Role::designated);
  st.start();
  st.lib->mrpInterfaceEnable(port);
  EXPECT_FALSE(machines(st).oldPortRole(port)) << "no port was enabled when it was read";
  role(port, Role::alternate);
  EXPECT_EQ(machines(st).oldPortRole(port), Role::alternate);
  st.engine = nullptr;
  role(port, Role::designated);
  st.sw->stpStatus()->childDel("one");
}

}  // namespace
}  // namespace EngineTest
