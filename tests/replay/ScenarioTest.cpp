#include <gmock/gmock.h>

#include <map>
#include <nlohmann/json.hpp>

#include "cli/BadInput.h"
#include "cli/replay/Inputs.h"
#include "cli/replay/ScenarioReader.h"
#include "cli/replay/ValueFields.h"
#include "platform/host/JsonDump.h"
#include "tests/replay/Support.h"

namespace {

using namespace ReplayTest;
using Mrp::MrpApplication;
using Platform::Host::hexText;
using testing::HasSubstr;

// The last action of a scenario.
Cli::Action action(const std::string& text, MrpApplication application) {
  const TempDir dir;
  return Cli::readInputs({{dir.file("s.jsonl", text)}, application, ""}).actions.back();
}

std::string refusal(const std::string& text, MrpApplication application = MrpApplication::mvrp) {
  try {
    action(text, application);
  } catch (const Cli::BadInput& error) {
    return error.what();
  }
  return "accepted";
}

std::string value(std::uint8_t type, const char* json,
                  MrpApplication application = MrpApplication::msrp) {
  try {
    return hexText(
        Cli::valueFromJson(application, type, nlohmann::ordered_json::parse(json), "here"));
  } catch (const Cli::BadInput& error) {
    return error.what();
  }
}

TEST(Scenario, ReadsRequestsOfBothForms) {
  const auto each = std::get<Cli::RequestAction>(
      action("\r\n{\"do\":\"request\",\"at\":1,\"ports\":[\"b\",\"a\",\"b\"],\"event\":\"Leave\","
             "\"type\":1,\"value\":{\"vlanId\":4095},\"note\":\"ignored\"}\r\n",
             MrpApplication::mvrp)
          .what);
  EXPECT_THAT(each.ports, testing::ElementsAre("b", "a", "b"));
  EXPECT_FALSE(each.port);
  EXPECT_EQ(each.event, 5);
  EXPECT_EQ(hexText(*each.value), "0fff");
  const auto together = std::get<Cli::RequestAction>(
      action(R"({"at":0,"do":"request","port":"c","ports":["a"],"event":"LeaveAll","type":4})",
             MrpApplication::msrp)
          .what);
  EXPECT_EQ(together.port, "c");
  EXPECT_EQ(together.event, 6);
  EXPECT_FALSE(together.value);
}

TEST(Scenario, RefusesWithFileAndLine) {
  const std::string good = R"({"at":0.5,"do":"activate"})";
  EXPECT_THAT(refusal(good + "\n\n{\"at\":0.4,\"do\":\"activate\"}"), HasSubstr("s.jsonl:3: "));
  EXPECT_THAT(refusal(good + "\n{"), HasSubstr("s.jsonl:2: not JSON"));
  EXPECT_THAT(refusal(good + "\n\"at\""), HasSubstr("s.jsonl:2: not a JSON object"));
  EXPECT_THAT(refusal(std::string(1, '\0')), HasSubstr("s.jsonl:1: not JSON"));
  EXPECT_THAT(refusal(std::string(200'000, '[')), HasSubstr("s.jsonl:1: not JSON"));
}

TEST(Scenario, RefusesMembersThatAreMissingOrWrong) {
  const char* const lines[] = {
      R"({"do":"activate"})",
      R"({"at":null,"do":"activate"})",
      R"({"at":-0.1,"do":"activate"})",
      R"({"at":1e10,"do":"activate"})",
      R"({"at":0})",
      R"({"at":0,"do":"Activate"})",
      R"({"at":0,"do":"frame","port":"p"})",
      R"({"at":0,"do":"frame","port":"p","hex":"012"})",
      R"({"at":0,"do":"frame","port":"p","hex":"0g"})",
      R"({"at":0,"do":"frame","port":"","hex":"00"})",
      R"({"at":0,"do":"frame","port":"p","hex":"00","unread":-1})",
      R"({"at":0,"do":"request","ports":["p"],"event":"Join","type":1})",
      R"({"at":0,"do":"request","ports":["p"],"event":3,"type":1})",
      R"({"at":0,"do":"request","ports":["p"],"event":7,"type":1})",
      R"({"at":0,"do":"request","ports":["p"],"event":"JoinIn","type":1,"value":"0001"})",
      R"({"at":0,"do":"request","ports":["p"],"event":256,"type":1,"value":"0001"})",
      R"({"at":0,"do":"request","ports":["p"],"event":-1,"type":1,"value":"0001"})",
      R"({"at":0,"do":"request","ports":["p"],"event":1.0,"type":1,"value":"0001"})",
      R"({"at":0,"do":"request","ports":["p"],"event":6,"type":2})",
      R"({"at":0,"do":"request","ports":["p"],"event":6,"type":0})",
      R"({"at":0,"do":"request","ports":["p"],"event":6,"type":1,"value":"000001"})",
      R"({"at":0,"do":"request","ports":[1],"event":6,"type":1})",
      R"({"at":0,"do":"request","port":"p","event":6,"type":1})",
      R"({"at":0,"do":"role","stp":"s","mst":"m","port":"p","role":4294967296})",
      R"({"at":0,"do":"config","field":"jointTime","value":1})",
      R"({"at":0,"do":"config","field":"leaveTime","value":null})",
      R"({"at":0,"do":"config","field":"leaveTime","value":-1})",
      R"({"at":0,"do":"config","field":"timersEnabled","value":1})",
      R"({"at":0,"do":"config","field":"intfLeaveAllTime","value":1})",
      R"({"at":0,"do":"flood","on":0})",
      R"({"at":0,"do":"clog","octets":-1})",
  };
  for (const char* line : lines) EXPECT_THAT(refusal(line), HasSubstr("s.jsonl:1: ")) << line;
}

TEST(ValueFields, PutEachFieldInItsOctets) {
  const char* const talker =
      R"({"rank":1,"priority":5,"streamId":"0x001b21aa99870001","dmac":"91:e0:f0:00:fe:01",
          "vlanId":2,"maxFrameSize":224,"maxIntervalFrames":3,"accumulatedLatency":250000})";
  const std::string image = "001b21aa9987000191e0f000fe01000200e00003b00003d090";
  EXPECT_EQ(value(1, talker), image);
  EXPECT_EQ(value(1, R"({"streamId":1,"bridgeId":1,"note":"x"})"), value(1, R"({"streamId":1})"));
  EXPECT_EQ(value(2, R"({"streamId":18446744073709551615,"bridgeId":"258","failureCode":255})"),
            std::string(16, 'f') + std::string(34, '0') + "0000000000000102ff");
  EXPECT_EQ(value(3, R"({"streamId":"10","listenerEvent":"readyFailed"})"),
            "000000000000000a00000003");
  EXPECT_EQ(value(3, R"({"streamId":10,"listenerEvent":2})"), "000000000000000a00000002");
  EXPECT_EQ(value(4, R"({"srClassId":6,"srClassPriority":3,"srClassVID":4094})"), "06030ffe");
  // What is staged reads back as it was given.
  std::map<std::string_view, std::uint64_t> read;
  for (const Cli::ValueField& field : Cli::fieldsOf(MrpApplication::msrp, 1)) {
    read[field.name] = Cli::fieldOf(field, octets(image));
  }
  EXPECT_EQ(read["priority"], 5u);
  EXPECT_EQ(read["rank"], 1u);
  EXPECT_EQ(read["dmac"], 0x91e0f000fe01u);
}

TEST(ValueFields, RefuseWhatDoesNotFit) {
  EXPECT_EQ(value(1, R"({"dmac":"91:e0:f0:00:fe:01"})"),
            "here: a talker advertise value needs \"streamId\"");
  const std::pair<int, const char*> cases[] = {
      {1, R"({"streamId":-1})"},
      {1, R"({"streamId":18446744073709551616})"},
      {1, R"({"streamId":"0x10000000000000000"})"},
      {1, R"({"streamId":"0x"})"},
      {1, R"({"streamId":" 1"})"},
      {1, R"({"streamId":1,"dmac":1})"},
      {1, R"({"streamId":1,"dmac":"91:e0:f0:00:fe"})"},
      {1, R"({"streamId":1,"priority":8})"},
      {1, R"({"streamId":1,"rank":2})"},
      {1, R"({"streamId":1,"vlanId":"2"})"},
      {1, R"({"streamId":1,"vlanId":65536})"},
      {1, R"({"streamId":1,"accumulatedLatency":[[]]})"},
      {3, R"({"streamId":1,"listenerEvent":4})"},
      {3, R"({"streamId":1,"listenerEvent":"Ready"})"},
      {4, R"({"srClassId":256})"},
  };
  for (const auto& [type, json] : cases) {
    EXPECT_THAT(value(static_cast<std::uint8_t>(type), json), testing::StartsWith("here: "))
        << json;
  }
}

}  // namespace
