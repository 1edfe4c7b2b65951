#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "platform/state/EntityManager.h"

namespace PlatformTest {

// A platform under test. It has two engines, MVRP's and MSRP's, and one port whose other end is in
// the hands of the test. Time passes, and what arrives is told, only inside runUntil().
class Subject {
 public:
  using Octets = std::vector<std::uint8_t>;
  enum Engine { kMvrp, kMsrp };

  virtual ~Subject() = default;

  // Lets the platform run until `holds`, or until `atMost` has passed on its clock; true in the
  // first case. `holds` is asked at least at the beginning and after everything that happened.
  virtual bool runUntil(const std::function<bool()>& holds, Platform::Seconds atMost) = 0;

  // What the engine of an application is given; the two may be the same.
  virtual Platform::EntityManager& manager(Engine engine) = 0;

  // The port exists as a network device at first, with an MTU of kMtu octets.
  static constexpr std::uint32_t kMtu = 12000;
  virtual Platform::IntfId port() = 0;
  // Makes the device go and come back.
  virtual void deviceIs(bool present) = 0;

  // Puts a frame on the port's wire. On return it has reached the open endpoints, which may tell of
  // it in the next run.
  virtual void arrive(std::span<const std::uint8_t> frame) = 0;
  // What has left the port since it was asked last, in order.
  virtual std::vector<Octets> departed() = 0;

  // Makes the engines' packet allocator fail until it is told otherwise.
  virtual void allocationFails(bool fails) = 0;

  // The attribute log: something waits in its send queue, or nothing; another descriptor.
  virtual void logWaits(bool waits) = 0;
  virtual void logReopens() = 0;
};

// How a subject is made. One that cannot be had here is null and says why.
struct SubjectKind {
  std::string name;
  std::function<std::unique_ptr<Subject>(std::string& why)> make;

  friend std::ostream& operator<<(std::ostream& out, const SubjectKind& kind) {
    return out << kind.name;
  }
};

// What an engine asks of a platform. A platform's own tests instantiate it:
//
//   INSTANTIATE_TEST_SUITE_P(Mine, Conformance, testing::Values(SubjectKind{"mine", make}));
class Conformance : public testing::TestWithParam<SubjectKind> {
 protected:
  void SetUp() override;

  Platform::PlatformServices& services() { return subject->manager(Subject::kMvrp).services(); }
  Platform::Clock& clock() { return *services().activityClock(); }
  // Runs for that long.
  void run(Platform::Seconds d) {
    subject->runUntil([] { return false; }, d);
  }

  std::unique_ptr<Subject> subject;
};

}  // namespace PlatformTest
