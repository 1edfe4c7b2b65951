#include "platform/packet/Pkt.h"

namespace Platform {

Pkt::Pkt(std::size_t capacity) : buffer_(new std::uint8_t[capacity]()), capacity_(capacity) {}

Pkt::~Pkt() = default;

void Pkt::reset(std::size_t headRoom) {
  MRP_ASSERT(headRoom <= capacity_);
  begin_ = end_ = headRoom;
}

void Pkt::poolIs(Ptr<PktPool> pool) { pool_ = std::move(pool); }

void Pkt::onZeroRefs() {
  if (!pool_) {
    delete this;
    return;
  }
  Ptr<PktPool> pool = std::move(pool_);
  pool->recycle(this);
}

}  // namespace Platform
