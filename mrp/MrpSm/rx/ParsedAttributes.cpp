#include "mrp/MrpSm/rx/ParsedAttributes.h"

namespace Mrp {

// Mixes the key with the address of the store, so that a peer cannot tell which keys collide.
MrpParsedAttributes::Slot& MrpParsedAttributes::hashedSlotOf(const MrpParsedAttributeKey& key) {
  std::uint64_t h = key.attributeKey ^ reinterpret_cast<std::uintptr_t>(this);
  h = (h ^ h >> 32 ^ key.attributeType) * 0xFF51AFD7ED558CCDu;
  h ^= h >> 33;
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = static_cast<std::size_t>(h) & mask;
  while (slots_[i].generation == generation_ && attributes_[slots_[i].position].key != key) {
    i = (i + 1) & mask;
  }
  return slots_[i];
}

MrpParsedAttribute* MrpParsedAttributes::find(const MrpParsedAttributeKey& key) {
  if (attributes_.empty()) return nullptr;
  const Slot& slot = slotOf(key);
  return slot.generation == generation_ ? &attributes_[slot.position] : nullptr;
}

std::uint32_t MrpParsedAttributes::is(const MrpParsedAttributeKey& key) {
  if (2 * (attributes_.size() + 1) > slots_.size()) grow();
  Slot& slot = slotOf(key);
  if (slot.generation != generation_) {
    slot = {generation_, static_cast<std::uint32_t>(attributes_.size())};
    attributes_.emplace_back().key = key;
  }
  return slot.position;
}

void MrpParsedAttributes::delAll() {
  attributes_.clear();
  if (++generation_ == 0) {
    slots_.assign(slots_.size(), Slot{});
    direct_.assign(direct_.size(), Slot{});
    generation_ = 1;
  }
}

void MrpParsedAttributes::grow() {
  slots_.assign(slots_.empty() ? 256 : 2 * slots_.size(), Slot{});
  for (std::uint32_t i = 0; i < attributes_.size(); ++i) {
    if (!isDirect(attributes_[i].key)) hashedSlotOf(attributes_[i].key) = {generation_, i};
  }
}

}  // namespace Mrp
