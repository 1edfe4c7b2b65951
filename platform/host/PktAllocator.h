#pragma once

#include <cstdint>

#include "platform/packet/Pkt.h"

namespace Platform::Host {

class PktStore;

// Allocator whose packets come from, and go back to, free lists by capacity. Packets that are still
// referenced outlive the allocator. Contents are whatever the buffer held last.
class PktAllocator final : public PktManager {
 public:
  struct Counters {
    std::uint64_t created = 0;   // packets made new
    std::uint64_t reused = 0;    // packets taken from a free list
    std::uint64_t returned = 0;  // packets whose last reference went
    std::uint64_t failed = 0;    // requests that were made to fail
    std::uint64_t inUse() const { return created + reused - returned; }
  };

  PktAllocator();
  ~PktAllocator() override;

  Ptr<Pkt> pktIs(std::size_t headRoom, std::size_t dataRoom) override;

  // Makes `n` allocations fail, after the next `successes` ones.
  void failNext(std::uint32_t n, std::uint64_t successes = 0) {
    failNext_ = n;
    successes_ = successes;
  }
  // Makes every allocation fail until it is told otherwise.
  void failAll(bool fail) { failAll_ = fail; }
  Counters counters() const;

 private:
  bool fails();

  Ptr<PktStore> store_;
  std::uint32_t failNext_ = 0;
  std::uint64_t successes_ = 0;
  bool failAll_ = false;
  std::uint64_t failed_ = 0;
};

}  // namespace Platform::Host
