#pragma once

#include <compare>
#include <cstdint>
#include <span>
#include <vector>

#include "mrp/types/Octets.h"

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
  // Throws std::bad_alloc, and nothing has happened.
  std::uint32_t is(const MrpParsedAttributeKey& key, std::uint8_t event,
                   std::span<const std::uint8_t> value) {
    if (ascending_ && (attributes_.empty() || attributes_.back().key() < key)) {
      return append(key, event, value);
    }
    return isOutOfOrder(key, event, value);
  }
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
                       std::span<const std::uint8_t> value) {
    const std::size_t at = valuesEnd_;
    const std::size_t end = at + value.size();
    if (end > values_.size()) values_.resize(2 * end);
    attributes_.push_back({key.attributeKey, key.attributeType, event,
                           static_cast<std::uint8_t>(value.size()),
                           static_cast<std::uint32_t>(at)});
    valuesEnd_ = end;
    copyOctets(values_.data() + at, value.data(), value.size());
    return static_cast<std::uint32_t>(attributes_.size() - 1);
  }
  std::uint32_t isOutOfOrder(const MrpParsedAttributeKey& key, std::uint8_t event,
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
