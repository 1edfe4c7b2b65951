#include <gmock/gmock.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/replay/CaptureReader.h"
#include "platform/host/JsonDump.h"
#include "tests/replay/Support.h"

// The command as people run it.
namespace {

using namespace ReplayTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

std::vector<Json> linesOf(const Result& result) {
  EXPECT_EQ(result.status, 0) << result.err;
  std::vector<Json> lines;
  std::istringstream text(result.out);
  for (std::string line; std::getline(text, line);) lines.push_back(Json::parse(line));
  return lines;
}

// Kinds and times, without the log.
std::vector<std::string> story(const std::vector<Json>& lines) {
  std::vector<std::string> told;
  for (const Json& line : lines) {
    if (line["kind"] != "log")
      told.push_back(line["time"].dump() + line["kind"].get<std::string>());
  }
  return told;
}

std::vector<Json> run(const std::string& scenario, Arguments options) {
  const TempDir dir;
  options.insert(options.begin(), {"replay", dir.file("s.jsonl", scenario), "--json"});
  return linesOf(mrp(options));
}

const Arguments kMvrp{"--application", "mvrp"};
const std::string kVlan7 =
    R"("hex":"0180c200002100a0c900001088f5000102000100076c00000000000000000000000000000000000000000000000000000000000000000000000000")";

struct Golden {
  const char* name;  // of the expected output
  Arguments arguments;
};

class GoldenTest : public testing::TestWithParam<Golden> {};

TEST_P(GoldenTest, PrintsWhatWasChecked) {
  Arguments arguments{"replay"};
  for (const std::string& argument : GetParam().arguments) {
    arguments.push_back(argument.starts_with("examples/") ? source(argument) : argument);
  }
  const Result result = mrp(arguments);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, contentOf(source("tests/replay/golden/") + GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(
    Replay, GoldenTest,
    testing::Values(
        Golden{"mvrp-end-station.json", {"examples/captures/mvrp-end-station.pcap", "--json"}},
        Golden{"msrp-talker-listener.json",
               {"examples/captures/msrp-talker-listener.pcap", "--json"}},
        Golden{"talker-and-listener.json",
               {"examples/scenarios/talker-and-listener.jsonl", "--json"}},
        Golden{"talker-and-listener.txt", {"examples/scenarios/talker-and-listener.jsonl"}},
        Golden{"leave-all.json", {"examples/scenarios/leave-all.jsonl", "--json"}},
        Golden{"bridge-vlans.json",
               {"examples/scenarios/bridge-vlans.jsonl", "--json", "--bridge"}},
        Golden{"streams-bandwidth.json",
               {"examples/captures/streams-bandwidth.jsonl", "--json", "--bridge"}},
        Golden{"streams-domain-mismatch.txt",
               {"examples/captures/streams-domain-mismatch.jsonl", "--bridge"}},
        Golden{"switch-over.json",
               {"examples/scenarios/switch-over.jsonl", "--json", "--standby", "--status",
                "examples/scenarios/switch-over.status.json"}}),
    [](const auto& golden) {
      std::string name = golden.param.name;
      std::ranges::replace_if(
          name, [](char c) { return !std::isalnum(c); }, '_');
      return name;
    });

TEST(Replay, BadInputIsOneLineAndStatusTwo) {
  const TempDir dir;
  const std::string capture = source("examples/captures/mvrp-end-station.pcap");
  const std::string late = dir.file("late.jsonl", R"({"at":0,"do":"frame","port":"p",)" + kVlan7 +
                                                      "}\n{\"at\":1,\"do\":\"nothing\"}\n");
  const Arguments cases[] = {
      {},
      {"replay"},
      {"play", capture},
      {"replay", capture, "--leave-time", "-1"},
      {"replay", capture, "--until", "nan"},
      {"replay", capture, "--trace", "loud"},
      {"replay", capture, "--application", "mmrp"},
      {"replay", capture, "--write", dir.path("absent/x.pcap")},
      {"replay", capture, "--save-status", dir.path("absent/x")},
      {"replay", capture, "--status", capture},
      {"replay", dir.path("line\nend")},
      {"replay", dir.path("")},
      {"replay", "port1=" + late},
      {"replay", late},
  };
  for (const Arguments& arguments : cases) {
    const Result result = mrp(arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "") << testing::PrintToString(arguments);
    EXPECT_THAT(result.err, MatchesRegex("mrp: [^\n]+\n")) << testing::PrintToString(arguments);
  }
}

TEST(Replay, RefusesStatusThatDoesNotFit) {
  const auto refusal = [](const std::string& attribute) {
    const TempDir dir;
    const auto status = dir.file(
        "status", R"({"application":"mvrp","attributes":[{"port":"p",)" + attribute + "}]}");
    return mrp({"replay", dir.file("s.jsonl", ""), "--application", "mvrp", "--status", status})
        .err;
  };
  const std::string states = R"("applicant":"QA","registrar":"LV",)";
  EXPECT_EQ(refusal(R"("type":1,"key":"7",)" + states + R"("value":"0007")"), "");
  EXPECT_THAT(refusal(R"("type":1,"key":"8",)" + states + R"("value":"0007")"),
              HasSubstr("\"key\" is 8, but that of the value is 7"));
  EXPECT_THAT(refusal(R"("type":2,"key":"7",)" + states + R"("value":"0007")"),
              HasSubstr("no attribute type 2"));
  EXPECT_THAT(refusal(R"("type":1,"key":"-7",)" + states + R"("value":"0007")"),
              HasSubstr("\"key\" is not"));
  EXPECT_THAT(refusal(R"("type":1,"key":"7",)" + states + R"("value":"000007")"),
              HasSubstr("2 octets, not 3"));
  EXPECT_THAT(refusal(R"("type":1,"key":"7","applicant":"5","registrar":"LV","value":"0007")"),
              HasSubstr("\"applicant\" is not"));
  EXPECT_THAT(refusal(R"("type":1,"key":"7","applicant":"QA","registrar":"XX","value":"0007")"),
              HasSubstr("\"registrar\" is not"));
  EXPECT_THAT(mrp({"replay", source("examples/captures/msrp-talker-listener.pcap"), "--status",
                   source("examples/scenarios/switch-over.status.json")})
                  .err,
              HasSubstr("not that of MSRP"));
}

TEST(Replay, SavedStatusGivesTheSameStateBack) {
  for (const char* capture : {"mvrp-end-station", "msrp-talker-listener"}) {
    const TempDir dir;
    const auto file = source("examples/captures/") + capture + ".pcap";
    // Before anything has left, so that there is much to keep.
    const auto before =
        linesOf(mrp({"replay", file, "--json", "--until", "3", "--save-status", dir.path("s")}));
    const std::string application = std::string(capture).substr(0, 4);
    const auto after =
        linesOf(mrp({"replay", dir.file("none.jsonl", ""), "--json", "--standby", "--application",
                     application, "--status", dir.path("s"), "--save-status", dir.path("t")}));
    ASSERT_EQ(after.size(), 1u);
    EXPECT_GT(before.back()["attributes"].size(), 4u);
    EXPECT_EQ(after.back()["attributes"], before.back()["attributes"]);
    EXPECT_EQ(after.back()["counters"].dump(), "{}");
    EXPECT_EQ(contentOf(dir.path("s")), contentOf(dir.path("t")));
  }
}

TEST(Replay, SavesWhatIsCommitted) {
  const TempDir dir;
  // The deletion of VLAN 7 waits for a review when the run ends; the addition of VLAN 9 too.
  const auto lines = run(
      R"({"at":0,"do":"request","ports":["p"],"event":"Join","type":1,"value":{"vlanId":7}}
{"at":1,"do":"request","ports":["p"],"event":"Leave","type":1,"value":{"vlanId":7}}
{"at":1,"do":"request","ports":["p"],"event":"Join","type":1,"value":{"vlanId":9}})",
      {"--application", "mvrp", "--until", "1", "--save-status", dir.path("s")});
  const Json saved = Json::parse(contentOf(dir.path("s")));
  ASSERT_EQ(saved["attributes"].size(), 1u);
  EXPECT_EQ(saved["attributes"][0]["key"], "7");
  ASSERT_EQ(lines.back()["attributes"].size(), 1u);
  EXPECT_EQ(lines.back()["attributes"][0]["key"], "9");
}

TEST(Replay, WritesTheFramesItSentAtTheirTimes) {
  const TempDir dir;
  const auto lines = linesOf(mrp({"replay", source("examples/captures/msrp-talker-listener.pcap"),
                                  "--json", "--write", dir.path("out.pcap")}));
  std::vector<std::pair<double, std::string>> told;
  for (const Json& line : lines) {
    if (line["kind"] == "tx") told.emplace_back(line["time"], line["hex"]);
  }
  std::vector<std::pair<double, std::string>> written;
  for (const Cli::CapturedFrame& frame : Cli::readCapture(dir.path("out.pcap"))) {
    written.emplace_back(static_cast<double>(frame.at) / 1e9,
                         Platform::Host::hexText(frame.octets));
  }
  EXPECT_EQ(written, told);
  EXPECT_EQ(written.size(), 4u);
}

TEST(Replay, EndIncludesWhatIsDueAtThatInstant) {
  const std::string frame = R"({"at":2,"do":"frame","port":"p",)" + kVlan7 + "}";
  EXPECT_THAT(story(run(frame, {"--until", "2"})), ElementsAre("2.0join", "2.0state"));
  EXPECT_THAT(story(run(frame, {"--until", "1.999999999"})), ElementsAre("1.999999999state"));
  EXPECT_THAT(story(run(frame, {})), ElementsAre("2.0join", "3.0state"));
  EXPECT_THAT(story(run(frame, {"--until", "10"})), ElementsAre("2.0join", "10.0tx", "10.0state"));
  // A frame that waits unread does not prolong the run, and is read before an action of its
  // instant.
  EXPECT_THAT(story(run(R"({"at":0,"do":"frame","port":"p","unread":1.5,)" + kVlan7 + "}", {})),
              ElementsAre("1.0state"));
  EXPECT_THAT(story(run(R"({"at":0,"do":"frame","port":"p","unread":1.5,)" + kVlan7 +
                            "}\n{\"at\":1.5,\"do\":\"join-discard\",\"on\":true}",
                        {})),
              ElementsAre("1.5join", "2.5state"));
}

TEST(Replay, PortIsEnabledAtOnceUnlessItsFirstActionEnablesIt) {
  const std::string frames = R"({"at":1,"do":"frame","port":"a",)" + kVlan7 +
                             "}\n"
                             R"({"at":1,"do":"frame","port":"b",)" +
                             kVlan7 + "}\n";
  const auto joined = [&](const std::string& rest) {
    std::string ports;
    for (const Json& line : run(frames + rest, {})) {
      if (line["kind"] == "join") ports += line["port"];
    }
    return ports;
  };
  EXPECT_EQ(joined(""), "ab");
  EXPECT_EQ(joined(R"({"at":2,"do":"enable","port":"a"})"), "b");
  EXPECT_EQ(joined("{\"at\":2,\"do\":\"disable\",\"port\":\"a\"}\n"
                   R"({"at":2,"do":"enable","port":"a"})"),
            "ab");
}

TEST(Replay, StandbyIgnoresRequestsUntilActivation) {
  const std::string request =
      R"("do":"request","ports":["p"],"event":"Join","type":1,"value":{"vlanId":7}})";
  Arguments options = kMvrp;
  options.push_back("--standby");
  const auto lines =
      run("{\"at\":0," + request + "\n{\"at\":0,\"do\":\"leave-all\",\"port\":\"p\"}\n" +
              R"({"at":1,"do":"activate"})" + "\n{\"at\":1.05," + request,
          options);
  EXPECT_THAT(story(lines), ElementsAre("1.1tx", "1.1tx", "2.05state"));
  EXPECT_EQ(lines.back()["leaveAll"].dump(), R"([{"port":"p","type":1,"time":10.0,"due":11.0}])");
}

TEST(Replay, ActionsReachTheEngine) {
  const auto with = [](const std::string& before) {
    return run(before + R"({"at":1,"do":"frame","port":"p",)" + kVlan7 + "}\n" +
                   R"({"at":1,"do":"role","stp":"s","mst":"Cist","port":"q","role":1})",
               {});
  };
  EXPECT_THAT(story(with("")), ElementsAre("1.0join", "2.0state"));
  EXPECT_THAT(story(with(R"({"at":0,"do":"recycled","on":true})"
                         "\n")),
              ElementsAre("2.0state"));
  // The copy of a flooded frame leaves on the other port, and nothing is registered.
  EXPECT_THAT(story(with(R"({"at":0,"do":"flood","on":true})"
                         "\n")),
              ElementsAre("1.0tx", "2.0state"));
  const auto discarded = with(R"({"at":0,"do":"join-discard","on":true})"
                              "\n");
  EXPECT_THAT(story(discarded), ElementsAre("1.0join", "2.0state"));
  EXPECT_THAT(discarded.back()["attributes"], IsEmpty());
  // A clogged log keeps the record pending, where a look-up finds it and a status file does not.
  const TempDir dir;
  const auto clogged =
      run(R"({"at":0,"do":"clog","octets":1000000})"
          "\n"
          R"({"at":0,"do":"request","ports":["p"],"event":"Join","type":1,"value":{"vlanId":7}})",
          {"--application", "mvrp", "--until", "5", "--save-status", dir.path("s")});
  EXPECT_EQ(clogged.back()["attributes"].size(), 1u);
  EXPECT_EQ(contentOf(dir.path("s")), "{\"application\":\"mvrp\",\"attributes\":[]}\n");
}

TEST(Replay, TraceGoesToStandardErrorWithTimeAndLevel) {
  const Result result = mrp({"replay", source("examples/captures/mvrp-end-station.pcap"), "--trace",
                             "7", "--until", "0.1", "--json"});
  EXPECT_EQ(linesOf(result).back()["time"], 0.1);
  EXPECT_THAT(result.err, HasSubstr("\n0.000000 7 "));
  EXPECT_THAT(result.err, testing::Not(HasSubstr(" 8 ")));
}

}  // namespace
