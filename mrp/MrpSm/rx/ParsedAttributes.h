#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "mrp/types/MrpAttrDatabase.h"

namespace Mrp {

struct MrpParsedAttributeKey {
  std::uint8_t attributeType = 0;
  std::uint64_t attributeKey = 0;
  friend bool operator==(const MrpParsedAttributeKey&, const MrpParsedAttributeKey&) = default;
};

// One attribute staged from the PDU being processed: its last event and value.
struct MrpParsedAttribute {
  MrpParsedAttributeKey key;
  std::uint8_t attributeEvent = 0;
  std::uint8_t valueSize = 0;
  std::array<std::uint8_t, MrpAttrDatabase::kMaxValue> octets;

  std::span<const std::uint8_t> value() const { return {octets.data(), valueSize}; }
  void valueIs(std::span<const std::uint8_t> value) {
    valueSize = static_cast<std::uint8_t>(value.size());
    if (!value.empty()) std::memcpy(octets.data(), value.data(), value.size());
  }
};

// The staged attributes of one PDU: a dense array in order of first appearance, with an index that
// is emptied by moving on to a new generation. VLAN identifiers index it directly, stream
// identifiers are hashed.
class MrpParsedAttributes {
 public:
  MrpParsedAttribute* find(const MrpParsedAttributeKey& key);
  // Position of the attribute of `key`, new when there was none.
  std::uint32_t is(const MrpParsedAttributeKey& key);
  MrpParsedAttribute& at(std::uint32_t position) { return attributes_[position]; }
  void delAll();
  bool empty() const { return attributes_.empty(); }
  std::size_t size() const { return attributes_.size(); }

 private:
  struct Slot {
    std::uint32_t generation = 0;
    std::uint32_t position = 0;
  };
  // The slot of `key`, or the free one where its probe ends.
  Slot& slotOf(const MrpParsedAttributeKey& key) {
    return isDirect(key) ? direct_[key.attributeKey] : hashedSlotOf(key);
  }
  void grow();

  std::vector<MrpParsedAttribute> attributes_;
  // Small keys of type 1: every VLAN identifier.
  static constexpr std::uint64_t kDirectKeys = 4096;
  static constexpr std::uint8_t kDirectType = 1;
  static bool isDirect(const MrpParsedAttributeKey& key) {
    return key.attributeType == kDirectType && key.attributeKey < kDirectKeys;
  }
  Slot& hashedSlotOf(const MrpParsedAttributeKey& key);

  std::vector<Slot> direct_ = std::vector<Slot>(kDirectKeys);
  std::vector<Slot> slots_;
  std::uint32_t generation_ = 1;
};

}  // namespace Mrp
