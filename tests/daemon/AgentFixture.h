#pragma once

#include <gtest/gtest.h>

#include "agent/daemon/Control.h"
#include "tests/daemon/FakeHost.h"
#include "tests/replay/Support.h"

namespace DaemonTest {

// Whoever talks to the agent, and what it is told.
class FakePeer final : public Rpc::Peer {
 public:
  bool mayChange() const override { return true; }
  void event(const std::string& line) override {
    events.push_back(Rpc::Json::parse(line)["params"]);
  }
  std::uint64_t takeLost() override { return std::exchange(lost, 0); }
  bool hasRoom() const override { return true; }
  void staysOpenIs(bool) override {}

  std::vector<Rpc::Json> events;
  std::uint64_t lost = 0;
};

// The agent on a host in memory:
//
//   neighbours --- eth1 | br0 | eth2, eth3 --- neighbours
class AgentTest : public testing::Test {
 protected:
  using Json = Rpc::Json;

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
    for (const char* name : {"eth1", "eth2", "eth3"}) host.sent(EngineTest::kMvrp, name);
  }
  Json call(const std::string& method, const Json& params = Json::object()) {
    return Json::parse(control->call(peer, method, params));
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
  std::string sent(const EngineTest::App& app, const std::string& name) {
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

}  // namespace DaemonTest
