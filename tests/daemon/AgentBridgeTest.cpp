// The agent as a bridge: ports that come and go, what is declared and registered on them, and what
// the kernel's bridge is given.

#include <gmock/gmock.h>

#include "agent/daemon/config/VlanRanges.h"
#include "tests/daemon/AgentFixture.h"

namespace DaemonTest {
namespace {

using namespace EngineTest;
using Rpc::Json;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(AgentTest, RegistrationsAreDeclaredElsewhereAndPutIntoTheKernel) {
  bridgeOfThree();
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn, JoinIn, Mt, JoinIn}));
  host.run(0.3);
  EXPECT_EQ(registered("eth1"), R"(["10-11","13"])");
  EXPECT_EQ(declared("eth2"), R"(["10-11","13"])");
  EXPECT_EQ(declared("eth1"), "[]");
  EXPECT_EQ(host.entries("eth1"), "10-11, 13");
  EXPECT_EQ(host.entries("eth2"), "");
  EXPECT_EQ(port("eth1")["mvrp"]["programmed"], Json({"10-11", "13"}));
  EXPECT_THAT(sent(kMvrp, "eth3"), testing::HasSubstr("10=JoinMt,JoinMt"));

  host.receive(kMvrp, "eth1", vlans(11, {Lv}));
  host.run(1.0);
  EXPECT_EQ(host.entries("eth1"), "10, 13");
  EXPECT_EQ(declared("eth3"), R"(["10","13"])");
}

TEST_F(AgentTest, EntriesOfOthersAreFixedAndNeverTouched) {
  bridgeOfThree();
  host.entryIs("eth1", 1, true);
  host.entryIs("eth1", 20);
  host.entryIs("br0", 30);
  host.run(0.2);
  EXPECT_EQ(port("eth1")["mvrp"]["fixed"], Json({"1", "20"}));
  EXPECT_EQ(declared("eth2"), R"(["1","20","30"])");
  EXPECT_EQ(declared("eth1"), R"(["30"])");

  // A neighbour registers the same VLAN, and leaves it: the entry stays.
  host.receive(kMvrp, "eth1", vlans(20, {JoinIn}));
  host.run(0.2);
  EXPECT_EQ(port("eth1")["mvrp"]["programmed"], Json::array());
  host.receive(kMvrp, "eth1", vlans(20, {Lv}));
  host.run(1.0);
  EXPECT_EQ(host.entries("eth1"), "1, 20");

  host.entryDel("eth1", 20);
  host.entryDel("br0", 30);
  host.run(0.2);
  EXPECT_EQ(declared("eth2"), R"(["1"])");
  // An entry of the agent's that somebody else flags is somebody else's.
  host.receive(kMvrp, "eth1", vlans(40, {JoinIn}));
  host.run(0.2);
  EXPECT_EQ(host.entries("eth1"), "1, 40");
  host.entryIs("eth1", 40, true);
  host.run(0.2);
  host.receive(kMvrp, "eth1", vlans(40, {Lv}));
  host.run(1.0);
  EXPECT_EQ(host.entries("eth1"), "1, 40");
  EXPECT_EQ(port("eth1")["mvrp"]["fixed"], Json({"1", "40"}));
}

TEST_F(AgentTest, WithoutVlanFilteringNothingIsProgrammed) {
  host.filtering = false;
  bridgeOfThree();
  host.entryIs("eth1", 1, true);
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  host.run(0.3);
  EXPECT_EQ(registered("eth1"), R"(["10"])");
  EXPECT_EQ(declared("eth2"), R"(["10"])");
  EXPECT_EQ(host.kernelRequests, 0);
  EXPECT_EQ(call("status")["kernel"]["vlanFiltering"], false);
  EXPECT_EQ(lines, Texts{"warning: bridge br0 does not filter VLANs: registrations are kept and "
                         "shown, none is programmed"});
}

TEST_F(AgentTest, PortsFollowTheBridge) {
  Config config = bridgeConfig();
  config.exclude = {"eth9"};
  start(config);
  EXPECT_THAT(call("ports"), IsEmpty());
  EXPECT_EQ(call("status")["active"], true);
  call("watch", {{"kinds", {"port"}}});
  for (const char* name : {"eth1", "eth2", "eth9"}) host.linkIs(name);
  host.run(0.3);
  EXPECT_EQ(call("ports").size(), 2u);
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  host.run(0.3);
  host.sent(kMvrp, "eth2");

  // Without carrier nothing is registered, and what only that port registered is withdrawn.
  host.linkIs("eth1", false);
  host.run(0.2);
  EXPECT_EQ(port("eth1")["link"], "down");
  EXPECT_EQ(port("eth1")["role"], "disabled");
  EXPECT_EQ(registered("eth1"), "[]");
  EXPECT_THAT(sent(kMvrp, "eth2"), testing::HasSubstr("10=Lv"));
  EXPECT_EQ(host.entries("eth1"), "");
  host.linkIs("eth1", true);
  host.run(0.2);
  EXPECT_THAT(sent(kMvrp, "eth1"), testing::HasSubstr("LA"));

  // A port taken from the bridge sends its Leaves.
  host.receive(kMvrp, "eth2", vlans(20, {JoinIn}));
  host.run(0.3);
  host.sent(kMvrp, "eth1");
  host.linkIs("eth1", true, "");
  host.run(0.2);
  EXPECT_THAT(sent(kMvrp, "eth1"), testing::HasSubstr("20=Lv"));
  EXPECT_EQ(call("ports").size(), 1u);
  EXPECT_EQ(refusal("ports", {{"port", "eth1"}}), "no-such-port");

  Texts changes;
  for (const Json& event : peer.events) {
    EXPECT_EQ(event["kind"], "port");
    changes.push_back(event["port"].get<std::string>() + " " + event["change"].get<std::string>());
  }
  EXPECT_THAT(changes, ElementsAre("eth1 added", "eth1 up", "eth2 added", "eth2 up", "eth1 role",
                                   "eth1 down", "eth1 role", "eth1 up", "eth1 removed"));
}

TEST_F(AgentTest, ARenamedPortIsAnotherPort) {
  Config config = bridgeConfig();
  config.port["new"].declare = *vlansFrom("77");
  host.linkIs("eth1");
  start(config);
  host.run(0.2);
  host.linkDel("eth1");
  host.linkIs("new");
  host.run(0.3);
  EXPECT_EQ(call("ports").size(), 1u);
  EXPECT_EQ(declared("new"), R"(["77"])");
}

TEST_F(AgentTest, RolesComeFromTheKernel) {
  bridgeOfThree();
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  host.run(0.3);
  EXPECT_EQ(port("eth1")["role"], "designated");
  host.linkIs("eth1", true, "br0", Daemon::Host::PortState::blocking);
  host.run(0.3);
  EXPECT_EQ(port("eth1")["role"], "alternate");
  EXPECT_EQ(port("eth1")["forwarding"], false);
  EXPECT_EQ(declared("eth2"), "[]");
  EXPECT_EQ(host.entries("eth1"), "");
  host.sent(kMvrp, "eth1");
  host.linkIs("eth1", true, "br0", Daemon::Host::PortState::forwarding);
  host.run(0.2);
  EXPECT_THAT(sent(kMvrp, "eth1"), testing::HasSubstr("LA"));
  EXPECT_EQ(host.relay, "mvrp");
  EXPECT_EQ(call("status")["kernel"]["relayBlocked"], true);
}

TEST_F(AgentTest, StoppingWithdrawsAndTakesItsTracesAway) {
  bridgeOfThree();
  host.entryIs("eth1", 5);
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  host.run(0.3);
  host.sent(kMvrp, "eth2");
  agent->withdraw();
  EXPECT_THAT(sent(kMvrp, "eth2"),
              testing::AllOf(testing::HasSubstr("10=Lv"), testing::HasSubstr("5=Lv")));
  EXPECT_EQ(host.entries("eth1"), "5");
  EXPECT_EQ(host.relay, "");
}

}  // namespace
}  // namespace DaemonTest
