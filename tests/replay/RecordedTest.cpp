#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/replay/Support.h"

// What the engine did before must stay what it does, octet by octet: every line of output, and
// where one is recorded every trace text. recorded/<name>.jsonl is a scenario (else the input is
// the capture of that name), <name>.options how it is run, <name>.json and <name>.trace what it
// printed.
namespace {

using namespace ReplayTest;
namespace fs = std::filesystem;

const std::string kFolder = source("tests/replay/recorded/");

// Without the line that holds a file descriptor.
std::string comparable(const std::string& trace) {
  std::istringstream lines(trace);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("handleAttrLogSockFd()") == std::string::npos) kept += line + "\n";
  }
  return kept;
}

std::vector<std::string> names() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kFolder)) {
    const std::string name = entry.path().stem();
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  }
  std::ranges::sort(names);
  return names;
}

class RecordedTest : public testing::TestWithParam<std::string> {};

TEST_P(RecordedTest, IsRepeated) {
  const std::string recording = kFolder + GetParam();
  const std::string scenario = recording + ".jsonl";
  std::vector<std::string> arguments{
      "replay",
      fs::exists(scenario) ? scenario : source("examples/captures/" + GetParam() + ".pcap"),
      "--json", "--trace", "9"};
  if (fs::exists(recording + ".options")) {
    std::istringstream options(contentOf(recording + ".options"));
    for (std::string option; options >> option;) arguments.push_back(option);
  }
  const Result result = mrp(arguments);
  EXPECT_EQ(result.status, 0);
  if (fs::exists(recording + ".json")) {
    // As booleans: the difference of long texts would be shown whole.
    EXPECT_TRUE(result.out == contentOf(recording + ".json")) << "compare with " << recording;
  }
  if (fs::exists(recording + ".trace")) {
    EXPECT_TRUE(comparable(result.err) == contentOf(recording + ".trace"))
        << "compare with " << recording;
  }
}

INSTANTIATE_TEST_SUITE_P(Replay, RecordedTest, testing::ValuesIn(names()), [](const auto& name) {
  std::string text = name.param;
  std::ranges::replace(text, '-', '_');
  return text;
});

}  // namespace
