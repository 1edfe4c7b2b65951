// Streams through the agent's bridge, on a host in memory: what it reserves, shows and tells, and
// what another life finds of it.
//
//   talker --- eth1 | br0 | eth2, eth3 --- listeners

#include <gmock/gmock.h>

#include "tests/agent/StreamBridge.h"
#include "tests/daemon/AgentFixture.h"

namespace DaemonTest {
namespace {

using namespace EngineTest;
using Rpc::Json;
using testing::HasSubstr;
using testing::IsEmpty;

class AgentStreamsTest : public AgentTest {
 protected:
  AgentStreamsTest() : config(bridgeConfig()) {
    config.msrpEnabled = true;
    config.port["eth2"].rate = 100'000'000;
    for (const char* name : {"eth1", "eth2", "eth3"}) host.linkIs(name);
  }
  void start() {
    useStore();
    AgentTest::start(config);
    host.run(0.3);
  }
  // With neighbours that are of the domain.
  void startInDomain() {
    start();
    for (const char* name : {"eth1", "eth2", "eth3"}) domain(name);
    host.run(0.2);
  }
  void domain(const char* port) {
    host.receive(kMsrp, port, streams(4, EngineTest::domain(5, 2, 2), {JoinIn, JoinIn}));
  }
  void talks(const TalkerOf& talker, Event event = New) {
    host.receive(kMsrp, "eth1", streams(1, talker.value(), {event}));
    host.run(0.2);
  }
  void listens(const char* port, std::uint64_t id, Event event = New) {
    host.receive(kMsrp, port, streams(3, stream(id), {event}, false, {ready}));
    host.run(0.2);
  }
  Json fate(const std::string& port) {
    for (const Json& row : call("streams", {{"port", port}})) {
      if (row["streamId"] == "0000000000000001") return row["fate"];
    }
    return nullptr;
  }

  Config config;
};

TEST_F(AgentStreamsTest, AReservationIsMadeShownAndTold) {
  startInDomain();
  call("watch", {{"kinds", {"reservation"}}});
  talks({.octets = 800});
  EXPECT_EQ(host.kernelStreams.entries(), "");
  listens("eth2", 1);
  EXPECT_EQ(host.kernelStreams.entries(), "eth2 2/91:e0:f0:00:00:01");
  EXPECT_EQ(host.kernelStreams.idleSlope("eth2"), 53'952);
  EXPECT_EQ(host.kernelStreams.idleSlope("eth3"), 0);
  EXPECT_EQ(host.kernelStreams.classes.size(), 2u);

  Json f = fate("eth2");
  EXPECT_EQ(f["declared"], "advertise");
  EXPECT_EQ(f["reserved"], true);
  EXPECT_EQ(f["needed"], 53'952'000);
  EXPECT_EQ(f["left"], 75'000'000 - 53'952'000);
  EXPECT_EQ(fate("eth1")["merged"], "ready");
  const Json row = call("bandwidth", {{"port", "eth2"}}).at(0);
  EXPECT_EQ(row["rate"], 100'000'000);
  EXPECT_EQ(row["limit"], 75'000'000);
  EXPECT_EQ(row["reserved"], 53'952'000);
  EXPECT_EQ(row["boundary"], false);
  EXPECT_EQ(row["shaper"]["idleSlope"], 53'952);
  ASSERT_EQ(peer.events.size(), 1u);
  EXPECT_EQ(peer.events[0]["streamId"], "0000000000000001");
  EXPECT_EQ(peer.events[0]["bandwidth"], 53'952'000);
  EXPECT_EQ(peer.events[0]["on"], true);

  // The kernel has no queues on a port: code 2 there, said in the status.
  host.kernelStreams.withoutQueues = {"eth3"};
  listens("eth3", 1);
  EXPECT_EQ(fate("eth3")["failureCode"], 2);
  EXPECT_EQ(fate("eth3")["failure"], "insufficient bridge resources");
  EXPECT_EQ(fate("eth1")["merged"], "ready-failed");
  EXPECT_THAT(call("status")["kernel"]["refused"].dump(), HasSubstr("eth3: the queues"));

  talks({.octets = 800}, Lv);
  host.run(1.0);
  EXPECT_EQ(host.kernelStreams.entries(), "");
  EXPECT_EQ(host.kernelStreams.idleSlope("eth2"), 0);
  EXPECT_EQ(peer.events.back()["on"], false);
  EXPECT_EQ(peer.events.back()["streamId"], "0000000000000001");
  agent->withdraw();
}

TEST_F(AgentStreamsTest, SettingsOfTheFileDecide) {
  config.delta = {40, 0};
  config.latency = {700, 900};
  config.port["eth3"].boundary = true;
  startInDomain();
  talks({.octets = 800, .latency = 500});
  EXPECT_EQ(fate("eth2")["failureCode"], 1);  // 53.952 of 40 Mb/s
  EXPECT_EQ(fate("eth2")["latency"], 1200);
  EXPECT_EQ(fate("eth3")["failureCode"], 8);
  EXPECT_EQ(call("ports", {{"port", "eth3"}}).at(0)["msrp"]["boundary"], Json({6, 5}));
  EXPECT_EQ(call("ports", {{"port", "eth2"}}).at(0)["msrp"]["boundary"], Json::array());
  // Another configuration, while it runs.
  config.delta = {75, 0};
  config.port.erase("eth3");
  agent->configIs(config);
  host.run(0.2);
  EXPECT_EQ(fate("eth2")["declared"], "advertise");
  EXPECT_EQ(fate("eth3")["declared"], "advertise");
  // A link of which nothing is known, or that is half duplex, carries none.
  host.kernelStreams.media["eth3"] = {1'000'000'000, false};
  host.linkIs("eth3", false);
  host.linkIs("eth3");
  host.run(0.2);
  EXPECT_THAT(call("status")["kernel"]["refused"].dump(), HasSubstr("full duplex"));
  // What leaves a port untagged is no stream's VLAN there.
  host.entryIs("eth2", 2, true);
  host.run(0.2);
  EXPECT_EQ(fate("eth2")["failureCode"], 18);
}

TEST_F(AgentStreamsTest, AnotherLifeFindsWhatWasReserved) {
  startInDomain();
  talks({.octets = 800});
  talks({.id = 2});
  listens("eth2", 1);
  listens("eth2", 2);
  listens("eth3", 1);
  const std::string entries = host.kernelStreams.entries();
  EXPECT_EQ(host.kernelStreams.idleSlope("eth2"), 61'824);
  kill();
  host.kernelStreams.requests = 0;
  start();
  // Before any neighbour has said a word.
  EXPECT_EQ(fate("eth2")["reserved"], true);
  EXPECT_EQ(host.kernelStreams.entries(), entries);
  EXPECT_EQ(host.kernelStreams.idleSlope("eth2"), 61'824);
  for (const char* name : {"eth1", "eth2", "eth3"}) domain(name);
  talks({.octets = 800}, JoinIn);
  listens("eth2", 1, JoinIn);
  // The second talker is silent, and so is the listener on eth3.
  host.run(2.0);
  EXPECT_EQ(host.kernelStreams.entries(), "eth2 2/91:e0:f0:00:00:01");
  EXPECT_EQ(host.kernelStreams.idleSlope("eth2"), 53'952);
  EXPECT_EQ(host.kernelStreams.idleSlope("eth3"), 0);
  agent->withdraw();
  EXPECT_EQ(host.kernelStreams.entries(), "");
  EXPECT_THAT(host.kernelStreams.shapers, IsEmpty());
  EXPECT_THAT(host.kernelStreams.classes, IsEmpty());
}

TEST_F(AgentStreamsTest, WhatGoesTakesItsReservationsAlong) {
  startInDomain();
  talks({});
  listens("eth2", 1);
  listens("eth3", 1);
  host.linkIs("eth2", true, "");  // out of the bridge
  host.run(0.2);
  EXPECT_EQ(host.kernelStreams.entries(), "eth3 2/91:e0:f0:00:00:01");
  host.linkIs("eth3", false);
  host.run(0.2);
  EXPECT_EQ(host.kernelStreams.entries(), "");
  host.linkIs("eth3");
  host.run(0.2);
  domain("eth3");
  listens("eth3", 1);
  EXPECT_EQ(host.kernelStreams.entries(), "eth3 2/91:e0:f0:00:00:01");
  config.msrpEnabled = false;
  agent->configIs(config);
  host.run(0.2);
  EXPECT_EQ(host.kernelStreams.entries(), "");
  EXPECT_THAT(host.kernelStreams.shapers, IsEmpty());
}

}  // namespace
}  // namespace DaemonTest
