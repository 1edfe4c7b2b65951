#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "mrp/MrpSm/MrpObserver.h"
#include "mrp/types/Applications.h"
#include "platform/time/Clock.h"

namespace Mrp::Accounts {

// The last frames with their times, as many as a number of octets holds: what a peer sends pushes
// out what was before it, and grows nothing.
class FrameRing {
 public:
  static constexpr std::size_t kDefaultOctets = std::size_t{4} << 20;

  struct Frame {
    std::uint64_t number;  // from 1, in the order in which they came and went
    Platform::Seconds time;
    IntfId intf;
    bool received;  // otherwise sent
    MrpApplication application;
    std::span<const std::uint8_t> octets;
  };

  // All memory that it will ever take, as frames come; 0: none, and no frame is kept.
  explicit FrameRing(std::size_t octets = kDefaultOctets)
      : octets_(octets), buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(octets)) {}

  void add(Platform::Seconds time, IntfId intf, bool received, MrpApplication application,
           std::span<const std::uint8_t> octets);

  std::size_t octets() const { return octets_; }
  std::size_t frames() const { return count_; }
  std::uint64_t first() const { return last_ - count_ + 1; }
  std::uint64_t last() const { return last_; }

  // Visits those that are there from a number on, oldest first, as long as `visit` gives true.
  template <class Visit>
  void walk(std::uint64_t from, Visit visit) const {
    std::size_t at = begin_;
    for (std::uint64_t n = first(); n <= last_; ++n) {
      const Frame frame = frameAt(at, n);
      if (n >= from && !visit(frame)) return;
      at = behind(at);
    }
  }

 private:
  struct Header {
    std::int64_t time;
    IntfId intf;
    std::uint32_t length;
    MrpApplication application;
    bool received;
  };
  Header headerAt(std::size_t at) const;
  Frame frameAt(std::size_t at, std::uint64_t number) const;
  std::size_t behind(std::size_t at) const;
  void drop();
  bool makeRoom(std::size_t octets);

  std::size_t octets_;
  std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t begin_ = 0;  // of the oldest frame
  std::size_t end_ = 0;    // behind the newest one
  std::size_t wrap_ = 0;   // where the frames before the wrap end
  bool wrapped_ = false;   // the newest ones stand before the oldest
  std::size_t count_ = 0;
  std::uint64_t last_ = 0;
};

// Puts the frames of one engine into the ring.
class FrameTap final : public MrpObserver {
 public:
  FrameTap(FrameRing& ring, const Platform::Clock& clock, MrpApplication application)
      : ring_(ring), clock_(clock), application_(application) {}

  bool wantsIdle() const override { return false; }
  void frame(const Frame& frame) override {
    ring_.add(clock_.now(), frame.intf, frame.direction == Direction::received, application_,
              frame.octets);
  }

 private:
  FrameRing& ring_;
  const Platform::Clock& clock_;
  MrpApplication application_;
};

}  // namespace Mrp::Accounts
