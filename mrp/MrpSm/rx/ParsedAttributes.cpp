#include "mrp/MrpSm/rx/ParsedAttributes.h"

#include <algorithm>

#include "mrp/types/Octets.h"

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

std::uint32_t MrpParsedAttributes::is(const MrpParsedAttributeKey& key, std::uint8_t event,
                                      std::span<const std::uint8_t> value) {
  if (ascending_ && (attributes_.empty() || attributes_.back().key() < key)) {
    return append(key, event, value);
  }
  if (ascending_ || 2 * (attributes_.size() + 1) > slots_.size()) hashAll();
  Slot& slot = slotOf(key);
  if (slot.generation != generation_) {
    slot = {generation_, static_cast<std::uint32_t>(attributes_.size())};
    return append(key, event, value);
  }
  // Values of one type have one size.
  MrpParsedAttribute& attribute = attributes_[slot.position];
  attribute.attributeEvent = event;
  copyOctets(values_.data() + attribute.valueAt, value.data(), attribute.valueSize);
  return slot.position;
}

std::uint32_t MrpParsedAttributes::append(const MrpParsedAttributeKey& key, std::uint8_t event,
                                          std::span<const std::uint8_t> value) {
  const std::size_t at = valuesEnd_;
  valuesEnd_ += value.size();
  if (valuesEnd_ > values_.size()) values_.resize(2 * valuesEnd_);
  attributes_.push_back({key.attributeKey, key.attributeType, event,
                         static_cast<std::uint8_t>(value.size()), static_cast<std::uint32_t>(at)});
  copyOctets(values_.data() + at, value.data(), value.size());
  return static_cast<std::uint32_t>(attributes_.size() - 1);
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
  ascending_ = false;
  std::size_t size = std::max<std::size_t>(slots_.size(), 256);
  while (size < 4 * (attributes_.size() + 1)) size *= 2;
  if (size > slots_.size() || ++generation_ == 0) {
    slots_.assign(size, Slot{});
    generation_ = 1;
  }
  for (std::uint32_t i = 0; i < attributes_.size(); ++i) {
    slotOf(attributes_[i].key()) = {generation_, i};
  }
}

}  // namespace Mrp
