#include "bench/Measure.h"

#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

// The name that callgrind is told: what this calls is counted. A call and not a jump, so that its
// end is the end of the step.
extern "C" [[gnu::noinline]] void measuredStep(void (*step)(void*), void* self);
extern "C" void measuredStep(void (*step)(void*), void* self) {
  step(self);
  asm volatile("" ::: "memory");
}

namespace Bench {
namespace {

std::string dumpPrefix;  // empty: instructions are not counted
int dumpNumber = 0;

double cpuNow() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Of the step that has just returned.
double instructions() {
  if (dumpPrefix.empty()) return 0;
  const std::string path = dumpPrefix + "." + std::to_string(++dumpNumber);
  std::ifstream dump(path);
  const std::string total = "totals: ";
  double count = 0;
  for (std::string line; std::getline(dump, line);) {
    if (line.starts_with(total)) count = std::stod(line.substr(total.size()));
  }
  check(count > 0, "instructions counted");
  std::remove(path.c_str());
  return count;
}

}  // namespace

void countInstructions(const std::string& dumps) { dumpPrefix = dumps; }

Cost measureStep(void (*step)(void*), void* self) {
  const double start = cpuNow();
  measuredStep(step, self);
  const double ns = cpuNow() - start;
  return {ns, instructions()};
}

// Data, not code, which comes in sixteen pages at a time as it is first run. Counted by a walk of
// the page tables: the sums that the kernel keeps lag behind by dozens of pages.
double residentOctets() {
  std::ifstream sums("/proc/self/smaps_rollup");
  std::string word;
  double kibibytes = 0;
  while (sums >> word) {
    if (word == "Anonymous:") sums >> kibibytes;
  }
  return kibibytes * 1024;
}

}  // namespace Bench
