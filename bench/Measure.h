#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

// Measuring one case against its baseline.
namespace Bench {

// What a step took: nanoseconds of this process's processor time, so that other work on the machine
// does not count; and instructions, 0 unless they are counted.
struct Cost {
  double ns = 0;
  double instructions = 0;

  friend Cost operator+(Cost a, Cost b) { return {a.ns + b.ns, a.instructions + b.instructions}; }
  friend Cost operator-(Cost a, Cost b) { return {a.ns - b.ns, a.instructions - b.instructions}; }
  friend Cost operator*(double n, Cost cost) { return {n * cost.ns, n * cost.instructions}; }
  friend Cost operator/(Cost cost, double n) { return {cost.ns / n, cost.instructions / n}; }
  Cost& operator+=(Cost more) { return *this = *this + more; }
};

// From now on instructions are counted: this process runs under callgrind, which collects inside
// measuredStep alone and, when that returns, writes the file `dumps` and a dot and a number.
void countInstructions(const std::string& dumps);

Cost measureStep(void (*step)(void*), void* self);

// What `step` takes.
template <class Step>
Cost measured(Step step) {
  return measureStep([](void* self) { (*static_cast<Step*>(self))(); }, &step);
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

// Of this process's memory, what is in use now.
double residentOctets();

// What a case hands to the report. Rows of memory have octets for their ratio and no costs.
struct Row {
  std::string name;
  double ratio = 0;
  Cost cost;      // for an attribute
  Cost baseline;  // the same
};

// Repetitions of one row, baseline and case in turn.
class Rounds {
 public:
  explicit Rounds(std::string name) : name_(std::move(name)) {}

  // One repetition, for an attribute.
  void add(Cost baseline, Cost cost) {
    ratio_.push_back(cost.ns / baseline.ns);
    ns_.push_back(cost.ns);
    baselineNs_.push_back(baseline.ns);
    instructions_ = cost.instructions;
    baselineInstructions_ = baseline.instructions;
  }
  // Medians of times; instructions of the last repetition, when nothing grows any more.
  Row row() const {
    return {name_,
            median(ratio_),
            {median(ns_), instructions_},
            {median(baselineNs_), baselineInstructions_}};
  }

 private:
  std::string name_;
  std::vector<double> ratio_;
  std::vector<double> ns_;
  std::vector<double> baselineNs_;
  double instructions_ = 0;
  double baselineInstructions_ = 0;
};

}  // namespace Bench
