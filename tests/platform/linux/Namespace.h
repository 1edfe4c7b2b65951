#pragma once

#include <memory>
#include <string>

#include "platform/linux/Loop.h"

namespace PlatformTest {

// A network namespace of the test's own, which the process is in until this object goes. Its
// interfaces go with it; what is outside is not touched.
class Namespace {
 public:
  // Null where the host gives none, and why.
  static std::unique_ptr<Namespace> make(std::string& why);
  ~Namespace();
  Namespace(const Namespace&) = delete;
  Namespace& operator=(const Namespace&) = delete;

  // Runs `ip` or `bridge` with these arguments; false when it refuses.
  bool ip(const std::string& arguments) { return run("ip " + arguments); }
  bool bridge(const std::string& arguments) { return run("bridge " + arguments); }

 private:
  explicit Namespace(int outside) : outside_(outside) {}
  static bool run(const std::string& command);
  int outside_;
};

// Runs the loop until `holds`; false when that takes longer than five seconds.
template <class Holds>
bool runUntil(Platform::Linux::Loop& loop, Holds holds) {
  const Platform::Seconds end = loop.clock()->now() + Platform::Seconds(5);
  while (!holds()) {
    if (loop.clock()->now() >= end) return false;
    loop.turn(0.02);
  }
  return true;
}

}  // namespace PlatformTest
