#include "mrp/MrpSm/rx/ParsedAttributes.h"

#include <algorithm>

namespace Mrp {

MrpParsedAttribute* MrpParsedAttributes::find(const MrpParsedAttributeKey& key) {
  if (attributes_.empty()) return nullptr;
  if (!ascending_) {
    const Slot& slot = slotOf(key);
    return slot.generation == generation_ ? &attributes_[slot.position] : nullptr;
  }
  if (next_ >= attributes_.size() || attributes_[next_].key() != key) {
    const auto found = std::ranges::lower_bound(attributes_, key, {}, &MrpParsedAttribute::key);
    next_ = static_cast<std::size_t>(found - attributes_.begin());
    if (found == attributes_.end() || found->key() != key) return nullptr;
  }
  return &attributes_[next_++];
}

// What is appended is linked last: a slot never names what is not there.
std::uint32_t MrpParsedAttributes::isOutOfOrder(const MrpParsedAttributeKey& key,
                                                std::uint8_t event,
                                                std::span<const std::uint8_t> value) {
  if (ascending_ || 2 * (attributes_.size() + 1) > slots_.size()) hashAll();
  Slot& slot = slotOf(key);
  if (slot.generation != generation_) {
    const std::uint32_t position = append(key, event, value);
    slot = {generation_, position};
    return position;
  }
  // Values of one type have one size.
  MrpParsedAttribute& attribute = attributes_[slot.position];
  attribute.attributeEvent = event;
  copyOctets(values_.data() + attribute.valueAt, value.data(), attribute.valueSize);
  return slot.position;
}

void MrpParsedAttributes::delAll() {
  attributes_.clear();
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
  std::size_t size = std::max<std::size_t>(slots_.size(), 256);
  while (size < 4 * (attributes_.size() + 1)) size *= 2;
  if (size > slots_.size() || generation_ == UINT32_MAX) {
    slots_ = std::vector<Slot>(size);
    generation_ = 0;
  }
  ++generation_;
  ascending_ = false;
  for (std::uint32_t i = 0; i < attributes_.size(); ++i) {
    slotOf(attributes_[i].key()) = {generation_, i};
  }
}

}  // namespace Mrp
