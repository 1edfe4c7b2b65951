// What outlives the agent.

#include <gmock/gmock.h>

#include "agent/daemon/config/VlanRanges.h"
#include "tests/daemon/AgentFixture.h"

namespace DaemonTest {
namespace {

using namespace EngineTest;
using Rpc::Json;

TEST_F(AgentTest, AKilledAgentGoesOnWhereItWas) {
  useStore();
  bridgeOfThree();
  host.entryIs("eth1", 5);
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn, JoinIn}));
  call("declare", {{"vlans", {"70"}}});
  call("registration", {{"port", "eth3"}, {"vlans", {"80"}}, {"mode", "forbidden"}});
  host.run(3.0);
  kill();
  host.run(1.0);
  const int requests = host.kernelRequests;
  EXPECT_EQ(host.entries("eth1"), "5, 10-11");

  useStore();
  start(bridgeConfig());
  // Its entries are its own again, and nobody touches them while the neighbours say nothing yet.
  EXPECT_EQ(port("eth1")["mvrp"]["programmed"], Json({"10-11"}));
  EXPECT_EQ(port("eth1")["mvrp"]["fixed"], Json({"5"}));
  EXPECT_EQ(port("eth3")["mvrp"]["forbidden"], Json({"80"}));
  EXPECT_EQ(host.kernelRequests, requests);
  host.run(0.2);
  // Declarations go out with the first LeaveAll; none is withdrawn.
  const std::string first = sent(kMvrp, "eth2");
  EXPECT_THAT(first, testing::HasSubstr("LA"));
  EXPECT_THAT(first, testing::HasSubstr("10=Join"));
  EXPECT_THAT(first, testing::HasSubstr("70=Join"));
  EXPECT_THAT(first, testing::Not(testing::HasSubstr("Lv")));
  // One VLAN is confirmed, the other ages out a leave time after the start, without another
  // LeaveAll.
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  EXPECT_EQ(host.entries("eth1"), "5, 10-11");
  host.run(0.6);
  EXPECT_EQ(host.entries("eth1"), "5, 10");
  EXPECT_THAT(sent(kMvrp, "eth2"), testing::Not(testing::HasSubstr("LA")));
}

// What was registered behind a link that is down by now went with it.
TEST_F(AgentTest, NothingIsRestoredOnAPortWithoutCarrier) {
  useStore();
  bridgeOfThree();
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  host.run(3.0);
  kill();
  host.linkIs("eth1", false);
  useStore();
  start(bridgeConfig());
  EXPECT_EQ(registered("eth1"), "[]");
  host.run(0.2);
  EXPECT_EQ(declared("eth2"), "[]");
  EXPECT_EQ(host.entries("eth1"), "");
}

TEST_F(AgentTest, WhatOnlyAnEarlierConfigurationDeclaredIsWithdrawn) {
  Config config = stationConfig({"eth1"});
  config.declare = *vlansFromList("10,20");
  host.linkIs("eth1", true, "");
  useStore();
  start(config);
  host.run(3.0);
  kill();
  host.sent(kMvrp, "eth1");
  useStore();
  config.declare = *vlansFrom("20");
  start(config);
  host.run(0.2);
  const std::string first = sent(kMvrp, "eth1");
  EXPECT_THAT(first, testing::HasSubstr("10=Lv"));
  EXPECT_THAT(first, testing::HasSubstr("LA"));
  EXPECT_EQ(declared("eth1"), R"(["20"])");
}

TEST_F(AgentTest, AfterWithdrawingTheStateHoldsRequestsOnly) {
  useStore();
  bridgeOfThree();
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  call("declare", {{"vlans", {"70"}}});
  host.run(3.0);
  agent->withdraw();
  kill();
  const auto entries = Database(dir.path("state"), "boot").read();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, "requests");
  useStore();
  start(bridgeConfig());
  host.run(0.2);
  EXPECT_EQ(declared("eth2"), R"(["70"])");
}

TEST_F(AgentTest, ClaimsOfAnotherInterfaceAreVoid) {
  useStore();
  bridgeOfThree();
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn}));
  host.run(3.0);
  kill();
  host.linkDel("eth1");
  host.linkIs("eth1");
  host.entryIs("eth1", 10);
  useStore();
  start(bridgeConfig());
  host.run(3.0);
  EXPECT_EQ(host.entries("eth1"), "10");
  EXPECT_EQ(port("eth1")["mvrp"]["programmed"], Json::array());
}

}  // namespace
}  // namespace DaemonTest
