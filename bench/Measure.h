#pragma once

#include <time.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

// Measuring one case against its baseline.
namespace Bench {

// Processor time of this process: other work on the machine does not count.
inline double cpuNow() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Nanoseconds of processor time that `step` takes.
template <class Step>
double cpuNs(Step step) {
  const double start = cpuNow();
  step();
  return cpuNow() - start;
}

// Fails the case when the work that was measured was not done.
inline void check(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string("the measured work was not done: ") + what);
}

inline double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

// What a case hands to the report. Rows of memory have octets for their ratio and no times.
struct Row {
  std::string name;
  double ratio = 0;
  double ns = 0;          // for an attribute
  double baselineNs = 0;  // the same
};

// Repetitions of one row, baseline and case in turn.
class Rounds {
 public:
  explicit Rounds(std::string name) : name_(std::move(name)) {}

  // One repetition: nanoseconds for an attribute.
  void add(double baselineNs, double ns) {
    ratio_.push_back(ns / baselineNs);
    ns_.push_back(ns);
    baselineNs_.push_back(baselineNs);
  }
  Row row() const { return {name_, median(ratio_), median(ns_), median(baselineNs_)}; }

 private:
  std::string name_;
  std::vector<double> ratio_;
  std::vector<double> ns_;
  std::vector<double> baselineNs_;
};

}  // namespace Bench
