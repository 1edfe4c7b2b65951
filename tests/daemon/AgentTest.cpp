// The agent on a host in memory: ports that come and go, what is declared and registered on them,
// what the kernel's bridge is given, and what is kept.
//
//   neighbours --- eth1 | br0 | eth2, eth3 --- neighbours

#include <gmock/gmock.h>

#include "agent/daemon/Control.h"
#include "agent/daemon/config/VlanRanges.h"
#include "tests/daemon/FakeHost.h"
#include "tests/replay/Support.h"

namespace DaemonTest {
namespace {

using namespace EngineTest;
using Rpc::Json;
using testing::ElementsAre;
using testing::IsEmpty;

class FakePeer final : public Rpc::Peer {
 public:
  bool mayChange() const override { return true; }
  void event(const std::string& line) override { events.push_back(Json::parse(line)["params"]); }
  std::uint64_t takeLost() override { return std::exchange(lost, 0); }
  bool hasRoom() const override { return true; }
  void staysOpenIs(bool) override {}

  std::vector<Json> events;
  std::uint64_t lost = 0;
};

class AgentTest : public testing::Test {
 protected:
  void start(const Config& config, bool lead = true) {
    agent = std::make_unique<Agent>(config, host, store.get(), log);
    control = std::make_unique<Control>(
        *agent, Control::Hooks{[] { return std::string(); }, [] { return false; }});
    agent->watcherIs(control.get());
    if (lead) agent->lead();
  }
  void stop() {
    agent.reset();
    control.reset();
  }
  // Ends as a killed process does: only what is on the disk is left.
  void kill() {
    if (store) store->drain(10);
    stop();
    store.reset();
  }
  Config bridgeConfig() {
    Config config;
    config.mode = "bridge";
    config.bridge = "br0";
    return config;
  }
  Config stationConfig(std::vector<std::string> ports) {
    Config config;
    config.mode = "station";
    config.ports = std::move(ports);
    return config;
  }
  void useStore() {
    store =
        std::make_unique<Store>(Store::Options{dir.path("state"), "boot", host.time, [] {}}, log);
    ASSERT_EQ(store->lock(), Store::Lock::held);
  }
  void bridgeOfThree(bool lead = true) {
    for (const char* name : {"eth1", "eth2", "eth3"}) host.linkIs(name);
    start(bridgeConfig(), lead);
    host.run(0.3);
    for (const char* name : {"eth1", "eth2", "eth3"}) host.sent(kMvrp, name);
  }
  Json call(const std::string& method, const Json& params = Json::object()) {
    return control->call(peer, method, params);
  }
  // The reason of a refusal, or its number.
  std::string refusal(const std::string& method, const Json& params) {
    try {
      call(method, params);
    } catch (const Rpc::Error& error) {
      return error.reason().empty() ? std::to_string(error.code()) : error.reason();
    }
    return "none";
  }
  Json port(const std::string& name) { return call("ports", {{"port", name}}).at(0); }
  std::string registered(const std::string& name) {
    return port(name)["mvrp"]["registered"].dump();
  }
  std::string declared(const std::string& name) { return port(name)["mvrp"]["declared"].dump(); }
  // All that was sent, in one text.
  std::string sent(const App& app, const std::string& name) {
    std::string all;
    for (const std::string& text : host.sent(app, name)) all += (all.empty() ? "" : " / ") + text;
    return all;
  }

  ReplayTest::TempDir dir;
  FakeHost host;
  Texts lines;
  Log log{[this](Log::Level level, const std::string& text) {
    lines.push_back(std::string(Log::name(level)) + ": " + text);
  }};
  std::unique_ptr<Store> store;
  std::unique_ptr<Agent> agent;
  std::unique_ptr<Control> control;
  FakePeer peer;
  EngineTest::Randomisation fixed{false};
};

// --- A bridge ------------------------------------------------------------------------------------

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

// --- What outlives the agent ---------------------------------------------------------------------

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
