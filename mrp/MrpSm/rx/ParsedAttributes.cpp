#include "mrp/MrpSm/rx/ParsedAttributes.h"

#include <algorithm>

namespace Mrp {

void MrpParsedAttributes::typeIs(std::uint8_t type, std::size_t n, std::size_t size) {
  reserve(n, size);
  if (size_ > 0 && type < type_ && ascending_) hashAll();
  first_ = size_ == 0 || type != type_;
  type_ = type;
}

void MrpParsedAttributes::reserve(std::size_t n, std::size_t size) {
  const std::size_t attributes = size_ + n;
  const std::size_t octets = valuesEnd_ + n * size;
  if (octets > values_.size()) values_.resize(2 * octets);
  if (attributes <= attributes_.size()) return;
  std::size_t slots = std::max<std::size_t>(slots_.size(), 256);
  while (slots < 8 * attributes) slots *= 2;
  std::vector<Slot> hash(slots);
  attributes_.resize(2 * attributes);
  slots_.swap(hash);
  generation_ = 0;
  if (!ascending_) hashAll();
}

MrpParsedAttribute* MrpParsedAttributes::find(const MrpParsedAttributeKey& key) {
  if (size_ == 0) return nullptr;
  if (!ascending_) {
    const Slot& slot = slotOf(key);
    return slot.generation == generation_ ? &attributes_[slot.position] : nullptr;
  }
  if (next_ >= size_ || attributes_[next_].key() != key) {
    const auto end = attributes_.begin() + static_cast<std::ptrdiff_t>(size_);
    const auto found =
        std::ranges::lower_bound(attributes_.begin(), end, key, {}, &MrpParsedAttribute::key);
    next_ = static_cast<std::size_t>(found - attributes_.begin());
    if (found == end || found->key() != key) return nullptr;
  }
  return &attributes_[next_++];
}

MrpParsedAttribute& MrpParsedAttributes::isOutOfOrder(std::uint64_t key, std::uint8_t valueSize) {
  if (ascending_) hashAll();
  Slot& slot = slotOf({type_, key});
  if (slot.generation == generation_) return attributes_[slot.position];
  slot = {generation_, static_cast<std::uint32_t>(size_)};
  return append(key, valueSize);
}

void MrpParsedAttributes::delAll() {
  size_ = 0;
  valuesEnd_ = 0;
  ascending_ = true;
  next_ = 0;
}

// Mixes the key with the address of the store, so that a peer cannot tell which keys collide.
MrpParsedAttributes::Slot& MrpParsedAttributes::slotOf(const MrpParsedAttributeKey& key) {
  std::uint64_t h = key.attributeKey ^ reinterpret_cast<std::uintptr_t>(this);
  h = (h ^ h >> 32 ^ key.attributeType) * 0xFF51AFD7ED558CCDu;
  h ^= h >> 33;
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = static_cast<std::size_t>(h) & mask;
  while (slots_[i].generation == generation_ && attributes_[slots_[i].position].key() != key) {
    i = (i + 1) & mask;
  }
  return slots_[i];
}

void MrpParsedAttributes::hashAll() {
  if (++generation_ == 0) {
    std::ranges::fill(slots_, Slot{});
    generation_ = 1;
  }
  ascending_ = false;
  for (std::uint32_t i = 0; i < size_; ++i) slotOf(attributes_[i].key()) = {generation_, i};
}

}  // namespace Mrp
