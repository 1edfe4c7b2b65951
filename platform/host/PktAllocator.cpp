#include "platform/host/PktAllocator.h"

#include <array>
#include <memory>
#include <new>
#include <vector>

namespace Platform::Host {
namespace {

// A short frame, an ordinary one, one of the receive limit, a jumbo one with room; larger packets
// are not kept.
constexpr std::array<std::size_t, 4> kCapacities{256, 2048, 10240, 65536};

std::size_t classOf(std::size_t capacity) {
  std::size_t cls = 0;
  while (cls < kCapacities.size() && kCapacities[cls] < capacity) ++cls;
  return cls;
}

}  // namespace

// The free lists. Every packet in use refers to its store, which so lives as long as any of them.
class PktStore final : public PktPool {
 public:
  Ptr<Pkt> take(std::size_t capacity) {
    const std::size_t cls = classOf(capacity);
    if (cls == kCapacities.size()) return adopt(new Pkt(capacity), counters.created);
    if (free_[cls].empty()) return adopt(new Pkt(kCapacities[cls]), counters.created);
    Pkt* pkt = free_[cls].back().release();
    free_[cls].pop_back();
    return adopt(pkt, counters.reused);
  }

  void recycle(Pkt* pkt) override {
    ++counters.returned;
    std::unique_ptr<Pkt> owned(pkt);
    const std::size_t cls = classOf(pkt->capacity());
    if (cls == kCapacities.size()) return;
    try {
      free_[cls].push_back(std::move(owned));
    } catch (const std::bad_alloc&) {
      // Nobody waits for it: it goes instead of being kept.
    }
  }

  PktAllocator::Counters counters;

 private:
  Ptr<Pkt> adopt(Pkt* pkt, std::uint64_t& counter) {
    ++counter;
    pkt->poolIs(this);
    return pkt;
  }

  std::array<std::vector<std::unique_ptr<Pkt>>, kCapacities.size()> free_;
};

PktAllocator::PktAllocator() : store_(makePtr<PktStore>()) {}

PktAllocator::~PktAllocator() = default;

Ptr<Pkt> PktAllocator::pktIs(std::size_t headRoom, std::size_t dataRoom) {
  if (fails()) return nullptr;
  Ptr<Pkt> pkt = store_->take(headRoom + dataRoom);
  pkt->reset(headRoom);
  return pkt;
}

PktAllocator::Counters PktAllocator::counters() const {
  Counters counters = store_->counters;
  counters.failed = failed_;
  return counters;
}

bool PktAllocator::fails() {
  if (!failAll_ && failNext_ == 0) return false;
  if (!failAll_ && successes_ > 0) {
    --successes_;
    return false;
  }
  if (failNext_ > 0) --failNext_;
  ++failed_;
  return true;
}

}  // namespace Platform::Host
