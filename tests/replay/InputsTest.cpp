#include "cli/replay/Inputs.h"

#include <gmock/gmock.h>

#include "cli/BadInput.h"
#include "cli/replay/CaptureReader.h"
#include "tests/replay/Support.h"

namespace {

using namespace ReplayTest;
using Cli::readInputs;
using testing::ElementsAre;
using testing::HasSubstr;

Cli::Octets marked(std::uint8_t mark) {
  Cli::Octets frame = mvrpFrame("00");
  frame.back() = mark;
  return frame;
}

// Time in milliseconds and last octet of each frame.
std::vector<std::pair<int, int>> frames(const Cli::Inputs& inputs) {
  std::vector<std::pair<int, int>> marks;
  for (const Cli::Action& action : inputs.actions) {
    if (const auto* frame = std::get_if<Cli::FrameAction>(&action.what)) {
      marks.emplace_back(action.at.nanoseconds() / 1'000'000, frame->octets.back());
    }
  }
  return marks;
}

std::string refusal(const Cli::InputFiles& files) {
  try {
    readInputs(files);
  } catch (const Cli::BadInput& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Inputs, MergesByTimeAndAtOneInstantInTheOrderGiven) {
  const TempDir dir;
  const auto left = dir.file("left", pcap({{100, 0, marked(1)}, {102, 500'000, marked(2)}}));
  const auto right = dir.file("right", pcap({{99, 0, marked(3)}, {102, 500'000, marked(4)}}));
  const auto story =
      dir.file("story.jsonl",
               R"({"at":3.5,"do":"frame","port":"port10","hex":"0180c200002100a0c900001088f505"})");
  // The capture that begins earliest gives time 0.
  EXPECT_THAT(frames(readInputs({{"port9=" + left, "port2=" + right, story}, {}, ""})),
              ElementsAre(std::pair(0, 3), std::pair(1000, 1), std::pair(3500, 2),
                          std::pair(3500, 4), std::pair(3500, 5)));
  const Cli::Inputs other = readInputs({{story, "port2=" + right, "port9=" + left}, {}, ""});
  EXPECT_THAT(frames(other), ElementsAre(std::pair(0, 3), std::pair(1000, 1), std::pair(3500, 5),
                                         std::pair(3500, 4), std::pair(3500, 2)));
  EXPECT_THAT(other.ports, ElementsAre("port2", "port9", "port10"));
}

TEST(Inputs, CapturedTimeThatGoesBackIsPutInOrder) {
  const TempDir dir;
  const auto file = dir.file(
      "c", pcap({{5, 0, marked(1)}, {4, 0, marked(2)}, {6, 0, marked(3)}, {5, 0, marked(4)}}));
  EXPECT_THAT(
      frames(readInputs({{file}, {}, ""})),
      ElementsAre(std::pair(-1000, 2), std::pair(0, 1), std::pair(0, 4), std::pair(1000, 3)));
}

TEST(Inputs, ApplicationComesFromTheEarliestFrameOfEither) {
  const TempDir dir;
  const auto taggedMsrp = octets(
      "0180c200000e00a0c900001081000002"
      "22ea00");
  const auto doublyTagged = octets("0180c200002100a0c9000010810000028100000288f500");
  const auto capture = dir.file(
      "c", pcap({{1, 0, octets("0180c2000021")}, {2, 0, doublyTagged}, {4, 0, marked(1)}}));
  const auto early = dir.file("early", pcap({{3, 0, taggedMsrp}}));
  EXPECT_EQ(readInputs({{capture}, {}, ""}).application, Mrp::MrpApplication::mvrp);
  EXPECT_EQ(readInputs({{capture, early}, {}, ""}).application, Mrp::MrpApplication::msrp);
  EXPECT_EQ(readInputs({{capture, early}, Mrp::MrpApplication::mvrp, ""}).application,
            Mrp::MrpApplication::mvrp);
  const auto none = dir.file("none", pcap({{2, 0, doublyTagged}}));
  EXPECT_THAT(refusal({{none}, {}, ""}), HasSubstr("--application"));
}

TEST(Inputs, PortsAreAllThatAreNamed) {
  const TempDir dir;
  const auto empty = dir.file("empty", pcap({}));
  const auto story =
      dir.file("s.jsonl", R"({"at":0,"do":"role","stp":"a","mst":"b","port":"p1","role":1}
{"at":0,"do":"config","field":"intfLeaveTime","port":"p2","value":null}

{"at":0,"do":"request","port":"p3","ports":["p4","p10"],"event":2,"type":1}
)");
  const auto status = dir.file(
      "status",
      R"({"application":"mvrp","attributes":[{"port":"p5","type":1,"key":"7","applicant":"LO","registrar":"LV","value":"0007"}]})");
  const Cli::Inputs inputs =
      readInputs({{story, "p6=" + empty}, Mrp::MrpApplication::mvrp, status});
  EXPECT_THAT(inputs.ports, ElementsAre("p1", "p2", "p3", "p4", "p5", "p6", "p10"));
}

TEST(CaptureReader, ReadsNanosecondsFromPcapng) {
  // Section header; interface of Ethernet with if_tsresol 9; one packet at 2^32 + 3 ns.
  const auto file = octets(
      "0a0d0d0a1c0000004d3c2b1a01000000ffffffffffffffff1c000000"
      "010000002000000001000000000004000900010009000000000000002000000006"
      "00000030000000000000000100000003000000100000001000000001"
      "80c200002100a0c900001088f5000130000000");
  const TempDir dir;
  const auto frames = Cli::readCapture(dir.file("x.pcapng", std::string(file.begin(), file.end())));
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].at, 4294967299);
  EXPECT_EQ(frames[0].octets.size(), 16u);
}

TEST(CaptureReader, RefusesWhatItCannotReadToTheEnd) {
  const TempDir dir;
  const std::string whole = pcap({{1, 0, marked(1)}, {2, 0, marked(2)}});
  // Cut anywhere but between packets.
  for (std::size_t size = 0; size < whole.size(); ++size) {
    if (size == 24 || size == 24 + 16 + 15) continue;
    const auto file = dir.file("cut", whole.substr(0, size));
    EXPECT_THAT(refusal({{file}, {}, ""}), HasSubstr(file)) << size;
  }
  EXPECT_THAT(refusal({{dir.file("raw", pcap({}, 101))}, {}, ""}), HasSubstr("not Ethernet"));
  EXPECT_THAT(refusal({{dir.path("absent")}, {}, ""}), HasSubstr("absent"));
}

}  // namespace
