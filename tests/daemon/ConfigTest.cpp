// The agent's configuration: what a file and options say, and what is told of mistakes.

#include <gmock/gmock.h>

#include "agent/daemon/config/Load.h"
#include "agent/daemon/config/VlanRanges.h"
#include "tests/replay/Support.h"

namespace DaemonTest {
namespace {

using namespace Daemon;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

const Key& keyOfOption(const std::string& option) {
  for (const Key& key : keys()) {
    for (const std::string& name : key.options()) {
      if (name == option) return key;
    }
  }
  throw std::invalid_argument(option);
}

class ConfigTest : public testing::Test {
 protected:
  Loaded read(const std::string& text, const std::map<std::string, Lines>& options = {}) {
    std::vector<OptionText> given;
    for (const auto& [name, texts] : options) given.push_back({&keyOfOption(name), name, texts});
    Loaded loaded = load(dir_.file("mrp.toml", text), given);
    const std::string folder = dir_.path("");
    for (std::string& error : loaded.errors) {
      if (error.starts_with(folder)) error.erase(0, folder.size());
    }
    return loaded;
  }
  Lines errors(const std::string& text, const std::map<std::string, Lines>& options = {}) {
    return read(text, options).errors;
  }

 private:
  ReplayTest::TempDir dir_;
};

constexpr const char* kStation = "[agent]\nports = [\"eth1\"]\n";

TEST_F(ConfigTest, EverythingThatCanBeSaid) {
  const Loaded loaded = read(R"([agent]
bridge = "br0"
ports = ["eth1", "eth2"]
exclude = []
state = "/var/lib/mrp/state"
standby = true
program = false
static = "ignore"
spanning-tree = "none"
on-stop = "keep"
log = "debug"
account = 1000
frame-memory = 0
[mvrp]
leave-time = 1
leave-all-time = 12.5
declare = ["10", "20-29", 4094]
registration = "fixed"
vlan-limit = 0
[msrp]
enabled = true
sr-classes = [{ id = 6, priority = 5, vlan = 7 }]
delta = { 6 = 50, 5 = 25 }
latency = { 5 = 900 }
talker-pruning = true
max-fan-in = 3
overhead = 42
recovery = 0
[port.eth1]
msrp = false
rate = 10_000_000_000
boundary = true
declare = ["30"]
registration = "forbidden"
fixed = ["1"]
forbidden = ["100-199"]
leave-time = 0.2
[port."eth2.5"]
mvrp = false
)");
  ASSERT_THAT(loaded.errors, IsEmpty());
  const Config& c = loaded.config;
  EXPECT_TRUE(c.bridgeMode());
  EXPECT_THAT(c.ports, ElementsAre("eth1", "eth2"));
  EXPECT_EQ(c.mvrpLeaveTime, 1.0);
  EXPECT_EQ(rangesText(c.declare), "10, 20-29, 4094");
  EXPECT_EQ(c.registration, "fixed");
  EXPECT_EQ(c.vlanLimit, 0u);
  EXPECT_THAT(c.srClasses, ElementsAre(SrClass{6, 5, 7}));
  EXPECT_EQ(c.delta, (ClassNumbers{50, 25}));
  EXPECT_EQ(c.latency, (ClassNumbers{0, 900}));
  EXPECT_TRUE(c.talkerPruning);
  EXPECT_EQ(c.maxFanIn, 3u);
  EXPECT_EQ(c.overhead, 42u);
  EXPECT_EQ(c.recovery, 0.0);
  EXPECT_FALSE(c.program);
  EXPECT_EQ(c.account, 1000u);
  EXPECT_EQ(c.frameMemory, 0u);
  const PortConfig& port = c.portConfig("eth1");
  EXPECT_FALSE(port.msrp);
  EXPECT_EQ(port.registration, "forbidden");
  EXPECT_EQ(rangesText(port.forbidden), "100-199");
  EXPECT_EQ(port.leaveTime, 0.2);
  EXPECT_EQ(port.rate, 10'000'000'000u);
  EXPECT_TRUE(port.boundary);
  EXPECT_FALSE(c.portConfig("eth2.5").mvrp);
  EXPECT_TRUE(c.portConfig("unheard-of").mvrp);
}

// Every mistake is told, at the line of the wrong element.
TEST_F(ConfigTest, MistakesNameFileLineKeyAndWhatIsAllowed) {
  struct Case {
    const char* text;
    const char* error;
  };
  const std::string delta =
      "per cent of a port's rate for classes 6 (A) and 5 (B), together at most 100: "
      "{ 6 = 75, 5 = 0 }";
  const std::string vlans =
      "an array of VLANs (1 to 4094), each a number or a range: [\"10\", \"20-29\"]";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"[mvrp]\nleave-time = 0.05", "2: mvrp.leave-time: a number of seconds, 0.1 to 60"},
      {"[mvrp]\nleave-time = 60.1", "2: mvrp.leave-time: a number of seconds, 0.1 to 60"},
      {"[mvrp]\nleave-time = nan", "2: mvrp.leave-time: a number of seconds, 0.1 to 60"},
      {"[mvrp]\nleave-time = \"1\"", "2: mvrp.leave-time: a number of seconds, 0.1 to 60"},
      {"[mvrp]\n\nleave-all-time = 1.2",
       "3: mvrp.leave-all-time: a number of seconds, above twice the leave time, to 3600"},
      {"[msrp]\nleave-time = 6",
       "2: msrp.leave-time: a number of seconds, above twice the leave time, to 3600"},
      {"[port.eth9]\nleave-time = 5.0",
       "2: port.eth9.leave-time: a number of seconds, above twice the leave time, to 3600"},
      {"[mvrp]\ndeclare = [\n  \"10\",\n  \"4095\"]", "4: mvrp.declare: " + vlans},
      {"[mvrp]\ndeclare = [\"0\"]", "2: mvrp.declare: " + vlans},
      {"[mvrp]\ndeclare = [\"9-8\"]", "2: mvrp.declare: " + vlans},
      {"[mvrp]\ndeclare = [\" 9\"]", "2: mvrp.declare: " + vlans},
      {"[mvrp]\ndeclare = \"10\"", "2: mvrp.declare: " + vlans},
      {"[mvrp]\nvlan-limit = 4097", "2: mvrp.vlan-limit: a number, 0 (none) to 4096"},
      {"[mvrp]\nvlan-limit = -1", "2: mvrp.vlan-limit: a number, 0 (none) to 4096"},
      {"[mvrp]\nvlan-limit = 1.0", "2: mvrp.vlan-limit: a number, 0 (none) to 4096"},
      {"[mvrp]\nenabled = 1", "2: mvrp.enabled: true or false"},
      {"[mvrp]\nregistration = \"none\"",
       "2: mvrp.registration: \"normal\", \"fixed\" or \"forbidden\""},
      {"[mvrp]\nleave = 1",
       "2: mvrp.leave: no such key; there are enabled, leave-time, leave-all-time, declare, "
       "registration, vlan-limit"},
      {"[mmrp]", "1: mmrp: no such table; there are agent, mvrp, msrp and port.NAME"},
      {"mvrp = 1", "1: mvrp: a table"},
      {"port = 1", "1: port: tables [port.NAME]"},
      {"[port.\"a b\"]", "1: port.a b: the name of an interface"},
      {"[port.eth1]\nfixed = [\"7\"]\nforbidden = [\"5-9\"]",
       "3: port.eth1.forbidden: a VLAN is fixed or forbidden, not both"},
      {"[msrp]\nsr-classes = [{ id = 7, priority = 3, vlan = 2 }]",
       "2: msrp.sr-classes: an array of { id = 0 to 6, priority = 0 to 7, vlan = 1 to 4094 }, "
       "each id once"},
      {"[msrp]\nsr-classes = [{ id = 6, priority = 3, vlan = 2 },\n"
       "{ id = 6, priority = 2, vlan = 2 }]",
       "3: msrp.sr-classes: an array of { id = 0 to 6, priority = 0 to 7, vlan = 1 to 4094 }, "
       "each id once"},
      {"[msrp]\ndelta = { 6 = 101 }", "2: msrp.delta: " + delta},
      {"[msrp]\ndelta = { 4 = 10 }", "2: msrp.delta: " + delta},
      {"[msrp]\ndelta = 75", "2: msrp.delta: " + delta},
      {"[msrp]\ndelta = { 5 = 26 }",
       "2: msrp.delta: per cent of a port's rate, of all classes together at most 100"},
      {"[msrp]\nlatency = { 6 = -1 }",
       "2: msrp.latency: nanoseconds for classes 6 (A) and 5 (B), 0 to 4294967295: "
       "{ 6 = 0, 5 = 0 }"},
      {"[msrp]\nrecovery = 9", "2: msrp.recovery: a number of seconds, 10 to 5400, or 0 (never)"},
      {"[msrp]\nmax-fan-in = -1", "2: msrp.max-fan-in: a number of ports, 0 (no limit) to 65535"},
      {"[port.eth1]\nrate = 1e9",
       "2: port.eth1.rate: a number of bits a second, 1000000 to 1000000000000"},
  };
  for (const auto& [text, error] : cases) {
    // The agent's own table stands last, so that lines count from the case's first.
    EXPECT_THAT(errors(text + "\n" + kStation), ElementsAre("mrp.toml:" + error)) << text;
  }
  EXPECT_THAT(errors("[agent]\nbridge = \"\"\nlog = \"loud\"\n[x]\n").size(), 3u);
  EXPECT_THAT(errors("[agent\n").size(), 1u);
}

TEST_F(ConfigTest, ModesNeedTheirPorts) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"mode = \"bridge\"", "2: agent.mode: bridge mode needs agent.bridge, a name"},
      {"mode = \"station\"", "2: agent.mode: station mode needs agent.ports, at least one name"},
      {"mode = \"station\"\nbridge = \"br0\"\nports = [\"a\"]",
       "3: agent.bridge: none in station mode"},
      {"bridge = \"br0\"\nports = [\"a\", \"b\"]\nexclude = [\"b\"]",
       "4: agent.exclude: a port stands in ports or in exclude: b"},
      {"bridge = \"br0\"\nstandby = true",
       "3: agent.standby: standby needs agent.state, a file that both agents use"},
  };
  for (const auto& [text, error] : cases) {
    EXPECT_THAT(errors("[agent]\n" + text), ElementsAre("mrp.toml:" + error)) << text;
  }
  EXPECT_EQ(load("", {}).errors.size(), 1u);
  EXPECT_EQ(load("/nonexistent/mrp.toml", {}).errors.size(), 1u);
  EXPECT_TRUE(read("[agent]\nbridge = \"br0\"").config.bridgeMode());
  EXPECT_FALSE(read(kStation).config.bridgeMode());
}

TEST_F(ConfigTest, OptionsWin) {
  const Config c = read("[agent]\nbridge = \"br0\"\n[mvrp]\nleave-time = 2\ndeclare = [\"1\"]",
                        {{"--leave-time", {"0.5"}},
                         {"--msrp-leave-time", {"0.3"}},
                         {"--declare", {"10,20-29", "40"}},
                         {"--program", {"false"}},
                         {"--state", {""}}})
                       .config;
  EXPECT_EQ(c.mvrpLeaveTime, 0.5);
  EXPECT_EQ(c.msrpLeaveTime, 0.3);
  EXPECT_EQ(rangesText(c.declare), "10, 20-29, 40");
  EXPECT_FALSE(c.program);
  EXPECT_EQ(read(kStation, {{"--mvrp-leave-time", {"0.7"}}}).config.mvrpLeaveTime, 0.7);

  EXPECT_THAT(errors(kStation, {{"--leave-time", {"fast"}}}),
              ElementsAre("--leave-time: mvrp.leave-time: a number of seconds, 0.1 to 60"));
  EXPECT_THAT(errors(kStation, {{"--program", {"yes"}}}),
              ElementsAre("--program: agent.program: true or false"));
  EXPECT_THAT(errors(kStation, {{"--bridge", {"br0"}}, {"--mode", {"station"}}}),
              ElementsAre("--bridge: agent.bridge: none in station mode"));
}

TEST_F(ConfigTest, WhatIsFixedForLifeIsToldAtItsLine) {
  const Config running = read("[agent]\nbridge = \"br0\"").config;
  Loaded later = read("[agent]\nbridge = \"br1\"\nlog = \"error\"\nstate = \"/s\"");
  later.file = "mrp.toml";
  const Lines errors = changesForLife(running, later);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_THAT(
      errors[0],
      testing::EndsWith("mrp.toml:2: agent.bridge: \"br0\", as it was when the agent started"));
  EXPECT_THAT(errors[1], testing::HasSubstr("mrp.toml:4: agent.state: \"\""));
}

TEST_F(ConfigTest, RangesAreShortestAndReadBack) {
  for (const std::string text : {"1", "4094", "1-4094", "1-2,4,6-9", "63-64,127-128"}) {
    const auto vlans = vlansFromList(text);
    ASSERT_TRUE(vlans) << text;
    std::string joined;
    for (const std::string& r : rangesOf(*vlans)) joined += (joined.empty() ? "" : ",") + r;
    EXPECT_EQ(joined, text);
  }
  EXPECT_EQ(rangesText(*vlansFromList("3,1,2,2-3")), "1-3");
  for (const char* bad : {"", ",", "1,", "0", "4095", "2-1", "1-", "-1", "1--2", "x", "1 "}) {
    EXPECT_FALSE(vlansFromList(bad)) << bad;
  }
}

}  // namespace
}  // namespace DaemonTest
