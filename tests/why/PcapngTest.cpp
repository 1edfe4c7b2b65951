// Frames of a dump: what is written is read again, by us and by others, and nothing that stands in
// a file leads astray.

#include "cli/dump/Pcapng.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "cli/BadInput.h"
#include "tests/replay/Support.h"

namespace {

using namespace ReplayTest;
using testing::HasSubstr;

std::vector<Cli::DumpedFrame> frames() {
  return {{1'700'000'000'123'456'789, "eth1", true, mvrpFrame("0001020001000a0000000000")},
          {1'700'000'000'123'456'790, "eth2.5", false, mvrpFrame("0001020001001e0000000000")},
          {1'700'000'003'000'000'000, "eth1", false, mvrpFrame("0001020001000ab400000000")}};
}

std::string written() {
  std::ostringstream out;
  Cli::PcapngWriter writer(out, "mrp 0.1", "frames of a test");
  for (const Cli::DumpedFrame& frame : frames()) writer.frame(frame);
  return out.str();
}

TEST(Pcapng, ReadsWhatItHasWritten) {
  const TempDir dir;
  const auto read = Cli::readPcapng(dir.file("frames.pcapng", written()));
  const auto expected = frames();
  ASSERT_EQ(read.size(), expected.size());
  for (std::size_t i = 0; i < read.size(); ++i) {
    EXPECT_EQ(read[i].at, expected[i].at);
    EXPECT_EQ(read[i].port, expected[i].port);
    EXPECT_EQ(read[i].received, expected[i].received);
    EXPECT_EQ(read[i].octets, expected[i].octets);
  }
}

TEST(Pcapng, RefusesWhatItCannotRead) {
  const TempDir dir;
  std::mt19937 random(3);
  const std::string good = written();
  for (int i = 0; i < 2000; ++i) {
    std::string bad = good.substr(0, random() % (good.size() + 1));
    for (std::size_t n = random() % 4; n > 0 && !bad.empty(); --n) {
      bad[random() % bad.size()] = static_cast<char>(random());
    }
    const std::string path = dir.file("frames.pcapng", bad);
    try {
      EXPECT_LE(Cli::readPcapng(path).size(), bad.size() / 32);
    } catch (const Cli::BadInput& error) {
      EXPECT_THAT(error.what(), HasSubstr(path));
    }
  }
}

// An independent reader has no complaint.
TEST(Pcapng, IsReadByOthersWithoutAWarning) {
  const TempDir dir;
  const std::string path = dir.file("frames.pcapng", written());
  const auto ask = [&](const std::string& command) {
    return std::system((command + " >" + dir.path("out") + " 2>" + dir.path("err")).c_str());
  };
  if (ask("capinfos -v") != 0 || ask("tshark -v") != 0) GTEST_SKIP() << "no tshark here";
  ASSERT_EQ(ask("capinfos -M " + path), 0) << contentOf(dir.path("err"));
  EXPECT_EQ(contentOf(dir.path("err")), "");
  EXPECT_THAT(contentOf(dir.path("out")), HasSubstr("frames of a test"));
  ASSERT_EQ(ask("tshark -r " + path +
                " -T fields -e frame.time_epoch -e frame.interface_name "
                "-e frame.packet_flags_direction -e _ws.malformed"),
            0);
  EXPECT_EQ(contentOf(dir.path("out")),
            "1700000000.123456789\teth1\t0x00000001\t\n"
            "1700000000.123456790\teth2.5\t0x00000002\t\n"
            "1700000003.000000000\teth1\t0x00000002\t\n");
}

}  // namespace
