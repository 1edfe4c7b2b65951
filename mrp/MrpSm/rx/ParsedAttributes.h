#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace Mrp {

struct MrpParsedAttributeKey {
  std::uint8_t attributeType = 0;
  std::uint64_t attributeKey = 0;
  friend bool operator==(const MrpParsedAttributeKey&, const MrpParsedAttributeKey&) = default;
  friend auto operator<=>(const MrpParsedAttributeKey&, const MrpParsedAttributeKey&) = default;
};

// One attribute staged from the PDU being processed: its last event, and where its value is.
struct MrpParsedAttribute {
  std::uint64_t attributeKey = 0;
  std::uint8_t attributeType = 0;
  std::uint8_t attributeEvent = 0;
  std::uint8_t valueSize = 0;
  std::uint32_t valueAt = 0;

  MrpParsedAttributeKey key() const { return {attributeType, attributeKey}; }
};

// The staged attributes of one PDU: a dense array in order of first appearance. Senders list their
// attributes in ascending order, and as long as a PDU does, the array is its own index; the first
// key out of order has all of them hashed. The hash is emptied by moving on to a new generation.
class MrpParsedAttributes {
 public:
  MrpParsedAttribute* find(const MrpParsedAttributeKey& key);
  // Position of the attribute of `key`, new when there was none; its event and value are replaced.
  std::uint32_t is(const MrpParsedAttributeKey& key, std::uint8_t event,
                   std::span<const std::uint8_t> value);
  const MrpParsedAttribute& at(std::uint32_t position) const { return attributes_[position]; }
  // Valid until the next attribute is staged.
  std::span<const std::uint8_t> value(const MrpParsedAttribute& attribute) const {
    return {values_.data() + attribute.valueAt, attribute.valueSize};
  }
  void delAll();
  bool empty() const { return attributes_.empty(); }
  std::size_t size() const { return attributes_.size(); }

 private:
  struct Slot {
    std::uint32_t generation = 0;
    std::uint32_t position = 0;
  };
  std::uint32_t append(const MrpParsedAttributeKey& key, std::uint8_t event,
                       std::span<const std::uint8_t> value);
  // The slot of `key`, or the free one where its probe ends.
  Slot& slotOf(const MrpParsedAttributeKey& key);
  void hashAll();

  std::vector<MrpParsedAttribute> attributes_;
  std::vector<std::uint8_t> values_;  // of all attributes, one behind the other, and room for more
  std::size_t valuesEnd_ = 0;
  bool ascending_ = true;
  std::size_t next_ = 0;  // where the next look-up of a walk in ascending order will find its key
  std::vector<Slot> slots_;
  std::uint32_t generation_ = 0;
};

}  // namespace Mrp

template <>
struct std::hash<Mrp::MrpParsedAttributeKey> {
  std::size_t operator()(const Mrp::MrpParsedAttributeKey& k) const noexcept {
    const std::uint64_t h = (k.attributeKey ^ k.attributeType) * 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>(h ^ h >> 32);
  }
};
