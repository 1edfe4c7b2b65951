#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/replay/Support.h"

// What the engine did before must stay what it does, octet by octet: every line of output, and
// where one is recorded every trace text. scripts/record says what the files are.
namespace {

using namespace ReplayTest;
namespace fs = std::filesystem;

const std::string kFolder = source("tests/replay/recorded/");

std::vector<std::string> names() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(kFolder)) names.push_back(entry.path().stem());
  std::ranges::sort(names);
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

class RecordedTest : public testing::TestWithParam<std::string> {};

TEST_P(RecordedTest, IsRepeated) {
  const TempDir now;
  const std::string command = source("scripts/record ") + MRP_BINARY + " " + now.path("") + " ";
  ASSERT_EQ(std::system((command + GetParam()).c_str()), 0);
  std::size_t compared = 0;
  for (const char* kind : {".json", ".trace"}) {
    const std::string recorded = kFolder + GetParam() + kind;
    if (!fs::exists(recorded)) continue;
    // As a boolean: the difference of long texts would be shown whole.
    EXPECT_TRUE(contentOf(now.path(GetParam() + kind)) == contentOf(recorded))
        << recorded << " differs: run `scripts/record " << MRP_BINARY
        << "` and look at the changes";
    ++compared;
  }
  EXPECT_GT(compared, 0u);
}

INSTANTIATE_TEST_SUITE_P(Replay, RecordedTest, testing::ValuesIn(names()), [](const auto& name) {
  std::string text = name.param;
  std::ranges::replace(text, '-', '_');
  return text;
});

}  // namespace
