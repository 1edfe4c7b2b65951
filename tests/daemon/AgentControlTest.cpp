// What the agent is asked for, and what it tells.

#include <gmock/gmock.h>

#include "agent/daemon/config/VlanRanges.h"
#include "tests/daemon/AgentFixture.h"

namespace DaemonTest {
namespace {

using namespace EngineTest;
using Rpc::Json;
using testing::ElementsAre;
using testing::IsEmpty;

// --- Declarations and registrations on request ---------------------------------------------------

TEST_F(AgentTest, DeclarationsHaveTwoSources) {
  Config config = stationConfig({"eth1", "eth2"});
  config.declare = *vlansFrom("10");
  config.port["eth1"].declare = *vlansFrom("20");
  host.linkIs("eth1", true, "");
  host.linkIs("eth2", true, "");
  start(config);
  host.run(0.3);
  EXPECT_EQ(sent(kMvrp, "eth1"), "1:10=JoinMt; 1:20=JoinMt / 1:10=JoinMt; 1:20=JoinMt");
  EXPECT_EQ(declared("eth2"), R"(["10"])");

  call("declare", {{"vlans", {"10", 30}}});
  call("declare", {{"vlans", {"40-41"}}, {"port", "eth2"}});
  EXPECT_EQ(declared("eth1"), R"(["10","20","30"])");
  EXPECT_EQ(declared("eth2"), R"(["10","30","40-41"])");
  // The file's declaration is left.
  call("withdraw", {{"vlans", {"10", "30"}}});
  EXPECT_EQ(declared("eth1"), R"(["10","20"])");
  // Now a command overrides the file, until the file changes.
  call("withdraw", {{"vlans", {"10"}}});
  call("withdraw", {{"vlans", {"20"}}, {"port", "eth1"}});
  host.run(0.2);
  EXPECT_EQ(declared("eth1"), "[]");
  agent->configIs(config);
  EXPECT_EQ(declared("eth1"), "[]");
  config.declare = *vlansFrom("11");
  agent->configIs(config);
  EXPECT_EQ(declared("eth1"), R"(["11"])");
  config.declare = *vlansFrom("10");
  agent->configIs(config);
  EXPECT_EQ(declared("eth1"), R"(["10"])");
  EXPECT_EQ(declared("eth2"), R"(["10","40-41"])");
}

TEST_F(AgentTest, AnAbsentPortKeepsWhatIsAskedFor) {
  start(stationConfig({"eth1"}));
  EXPECT_EQ(port("eth1")["link"], "absent");
  EXPECT_EQ(port("eth1")["mvrp"], nullptr);
  call("declare", {{"vlans", {"10"}}, {"port", "eth1"}});
  EXPECT_EQ(refusal("declare", {{"vlans", {"10"}}, {"port", "eth2"}}), "no-such-port");
  host.linkIs("eth1", true, "");
  host.run(0.3);
  EXPECT_THAT(sent(kMvrp, "eth1"), testing::StartsWith("1:10=JoinMt"));
}

TEST_F(AgentTest, RegistrationIsControlledByVlan) {
  Config config = stationConfig({"eth1"});
  config.port["eth1"].forbidden = *vlansFrom("10");
  config.port["eth1"].fixed = *vlansFrom("12");
  host.linkIs("eth1", true, "");
  start(config);
  host.run(0.2);
  // 0 and 4095 are no VLANs.
  host.receive(kMvrp, "eth1", vlans(0, {JoinIn}));
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn, JoinIn}));
  host.receive(kMvrp, "eth1", vlans(4094, {JoinIn, JoinIn}));
  host.run(0.3);
  EXPECT_EQ(registered("eth1"), R"(["11-12","4094"])");
  Texts rows;
  for (const Json& row : call("vlans")) {
    rows.push_back(std::to_string(row["vlan"].get<int>()) + " " +
                   row["registration"].get<std::string>() + " " + row["registered"].dump() + " " +
                   row["registrar"].dump());
  }
  EXPECT_THAT(rows, ElementsAre("10 forbidden false \"MT\"", "11 normal true \"IN\"",
                                "12 fixed true null", "4094 normal true \"IN\""));
  host.sent(kMvrp, "eth1");
  call("registration", {{"port", "eth1"}, {"vlans", {"10"}}, {"mode", "normal"}});
  call("registration", {{"port", "eth1"}, {"vlans", {"11"}}, {"mode", "forbidden"}});
  host.run(0.2);
  EXPECT_THAT(sent(kMvrp, "eth1"), testing::HasSubstr("LA"));
  EXPECT_EQ(registered("eth1"), R"(["12","4094"])");
  host.receive(kMvrp, "eth1", vlans(10, {JoinIn, JoinIn}));
  EXPECT_EQ(registered("eth1"), R"(["10","12","4094"])");
  call("registration", {{"port", "eth1"}, {"mode", "forbidden"}});
  EXPECT_EQ(registered("eth1"), "[]");
}

TEST_F(AgentTest, WrongRequestsSayWhy) {
  Config config = bridgeConfig();
  config.msrpEnabled = true;
  host.linkIs("eth1");
  start(config, false);
  EXPECT_EQ(refusal("declare", {{"vlans", {"10"}}}), "standby");
  EXPECT_EQ(refusal("leave-all", Json::object()), "standby");
  EXPECT_EQ(refusal("activate", Json::object()), "unavailable");
  EXPECT_EQ(call("status")["active"], false);
  EXPECT_EQ(call("ports").size(), 1u);
  agent->lead();
  const Json listener{{"streamId", "001b21aa99870001"}};
  const std::vector<std::tuple<std::string, Json, std::string>> cases{
      {"declare", Json::object(), "-32602"},
      {"declare", {{"vlans", Json::array()}}, "-32602"},
      {"declare", {{"vlans", {"0"}}}, "-32602"},
      {"declare", {{"vlans", {4095}}}, "-32602"},
      {"declare", {{"vlans", "10"}}, "-32602"},
      {"declare", {{"vlans", {"9-8"}}}, "-32602"},
      {"declare", {{"vlans", {"9"}}, {"listener", listener}}, "-32602"},
      {"declare", {{"vlans", {"9"}}, {"application", "msrp"}}, "-32602"},
      {"declare", {{"vlans", {"9"}}, {"application", "gvrp"}}, "no-such-application"},
      {"declare", {{"listener", listener}}, "not-allowed"},
      {"declare", {{"listener", {{"streamId", "1"}}}}, "-32602"},
      {"registration", {{"mode", "fixed"}}, "-32602"},
      {"registration", {{"port", "eth1"}, {"mode", "loose"}}, "-32602"},
      {"ports", {{"port", 7}}, "-32602"},
      {"ports", Json::array({1}), "-32602"},
      {"vlans", {{"vlan", 4095}}, "-32602"},
      {"get", Json::object(), "-32602"},
      {"get", {{"application", "mvrp"}, {"name", "mrpConfig.nothing"}}, "-32602"},
      {"set",
       {{"application", "mvrp"}, {"name", "mrpCounters.numOfPktsProcessed"}, {"value", "x"}},
       "-32602"},
      {"watch", {{"kinds", {"everything"}}}, "-32602"},
      {"trace", {{"application", "mvrp"}}, "-32602"},
      {"nothing", Json::object(), "-32601"},
  };
  for (const auto& [method, params, reason] : cases) {
    EXPECT_EQ(refusal(method, params), reason) << method << params;
  }
  config.msrpEnabled = false;
  agent->configIs(config);
  EXPECT_EQ(refusal("streams", Json::object()), "no-such-application");
  EXPECT_EQ(call("status")["applications"], Json({"mvrp"}));
}

// --- MSRP ----------------------------------------------------------------------------------------

TEST_F(AgentTest, AStationDeclaresStreamsAndDomains) {
  Config config = stationConfig({"eth1"});
  config.mvrpEnabled = false;
  config.msrpEnabled = true;
  host.linkIs("eth1", true, "");
  start(config);
  host.run(0.3);
  EXPECT_THAT(sent(kMsrp, "eth1"), testing::StartsWith("4:5=New,New"));
  call("declare", {{"stream",
                    {{"streamId", "001b21aa99870001"},
                     {"dmac", "91:e0:f0:00:fe:01"},
                     {"vlanId", 2},
                     {"maxFrameSize", 256},
                     {"maxIntervalFrames", 1}}}});
  host.run(0.3);
  EXPECT_THAT(sent(kMsrp, "eth1"), testing::HasSubstr("1:1b21aa99870001=New"));
  host.receive(kMsrp, "eth1", streams(3, stream(0x001b21aa99870001), {JoinIn}, false, {ready}));
  host.receive(kMsrp, "eth1", streams(4, domain(6, 3, 2), {JoinIn, JoinIn}));
  host.run(0.3);
  const Json row = call("streams").at(0);
  EXPECT_EQ(row["streamId"], "001b21aa99870001");
  EXPECT_EQ(row["talker"]["kind"], "advertise");
  EXPECT_EQ(row["talker"]["dmac"], "91:e0:f0:00:fe:01");
  EXPECT_EQ(row["talker"]["bandwidth"], (256 + 43) * 8 * 8000);
  EXPECT_EQ(row["talker"]["rank"], 1);
  EXPECT_EQ(row["listener"]["event"], "ready");
  Texts domains;
  for (const Json& d : call("domains")) {
    domains.push_back(std::to_string(d["srClassId"].get<int>()) + " " + d["ours"].dump() + " " +
                      d["theirs"].dump());
  }
  EXPECT_THAT(domains, ElementsAre("5 true false", "6 true true", "7 false true"));

  host.receive(kMsrp, "eth1", streams(2, failed(0x77, 8), {JoinIn}));
  host.run(0.2);
  const Json failedRow = call("streams").at(0);
  EXPECT_EQ(failedRow["talker"]["failureCode"], 8);
  EXPECT_EQ(failedRow["talker"]["failure"], "egress port is not AVB capable");
  call("withdraw", {{"stream", {{"streamId", "001b21aa99870001"}}}});
  host.run(0.2);
  EXPECT_THAT(sent(kMsrp, "eth1"), testing::HasSubstr("1:1b21aa99870001=Lv"));
}

// --- Watching ------------------------------------------------------------------------------------

TEST_F(AgentTest, WatchersHearWhatHappens) {
  bridgeOfThree();
  call("watch", {{"port", "eth1"}, {"kinds", {"join", "leave", "program"}}});
  host.receive(kMvrp, "eth1", vlans(10, {New}));
  host.receive(kMvrp, "eth2", vlans(11, {New}));
  host.run(0.3);
  ASSERT_EQ(peer.events.size(), 2u);
  Json join = peer.events[0];
  EXPECT_TRUE(join["time"].is_number());
  join.erase("time");
  EXPECT_EQ(join.dump(), R"({"kind":"join","port":"eth1","type":1,"key":"10","event":0,)"
                         R"("value":"000a","application":"mvrp"})");
  EXPECT_EQ(peer.events[1]["vlans"], Json({"10"}));
  EXPECT_EQ(peer.events[1]["on"], true);

  peer.lost = 7;
  host.receive(kMvrp, "eth1", vlans(10, {Lv}));
  host.run(1.0);
  EXPECT_EQ(peer.events[2]["kind"], "overrun");
  EXPECT_EQ(peer.events[2]["lost"], 7);
  EXPECT_EQ(peer.events[3]["kind"], "leave");
  control->gone(peer);
  peer.events.clear();
  host.receive(kMvrp, "eth1", vlans(10, {New}));
  EXPECT_THAT(peer.events, IsEmpty());
}

TEST_F(AgentTest, TracingEndsWithItsConnection) {
  bridgeOfThree();
  Platform::Trace& trace = agent->instances().front()->trace();
  trace.levelIs(2);
  FakePeer other;
  call("trace", {{"application", "mvrp"}, {"level", 6}});
  control->call(other, "trace", {{"application", "mvrp"}, {"level", 8}});
  EXPECT_EQ(trace.level(), 8);
  host.receive(kMvrp, "eth1", vlans(10, {New}));
  EXPECT_FALSE(other.events.empty());
  EXPECT_LT(peer.events.size(), other.events.size());
  EXPECT_EQ(other.events[0]["application"], "mvrp");
  control->gone(other);
  EXPECT_EQ(trace.level(), 6);
  control->gone(peer);
  EXPECT_EQ(trace.level(), 2);
}

TEST_F(AgentTest, AttributesHaveNames) {
  Config config = stationConfig({"eth1"});
  config.mvrpLeaveTime = 0.7;
  start(config);
  const Json name{{"application", "mvrp"}, {"name", "mrpConfig.leaveTime"}};
  EXPECT_EQ(call("get", name)["value"], 0.7);
  Json changed = name;
  changed["value"] = 1.5;
  call("set", changed);
  EXPECT_EQ(call("get", name)["value"], 1.5);
  call("set", {{"application", "mvrp"}, {"name", "mrpSm.recycledPkt"}, {"value", true}});
  std::map<std::string, bool> all;
  for (const Json& row : call("get", {{"application", "mvrp"}})) {
    all[row["name"].get<std::string>()] = row["settable"].get<bool>();
    if (row["name"] == "mrpSm.recycledPkt") {
      EXPECT_EQ(row["value"], true);
    }
  }
  EXPECT_TRUE(all.at("mrpConfig.vlanLimit"));
  EXPECT_FALSE(all.at("mrpSm.initialized"));
  EXPECT_TRUE(all.contains("mrpCounters.numOfMalformedPkts"));
}

}  // namespace
}  // namespace DaemonTest
