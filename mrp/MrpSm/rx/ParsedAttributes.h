#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
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
  std::uint32_t valueAt = 0;
  std::uint8_t attributeType = 0;
  std::uint8_t attributeEvent = 0;
  std::uint8_t valueSize = 0;

  MrpParsedAttributeKey key() const { return {attributeType, attributeKey}; }
};

// The staged attributes of one PDU: a dense array in order of first appearance. Senders list their
// attributes in ascending order, and as long as a PDU does, the array is its own index; the first
// key out of order has all of them hashed. The hash is emptied by moving on to a new generation.
class MrpParsedAttributes {
 public:
  // The attributes that come are of this type; makes room for `n` of them with values of `size`
  // octets. Throws std::bad_alloc, and nothing has happened.
  void typeIs(std::uint8_t type, std::size_t n, std::size_t size);

  MrpParsedAttribute* find(const MrpParsedAttributeKey& key);
  // Position of the attribute of `key`, new when there was none; its event and value are replaced.
  // There must be room.
  template <std::size_t Size>
  std::uint32_t is(std::uint64_t key, std::uint8_t event, const void* value) {
    MrpParsedAttribute& attribute =
        ascending_ && (key > lastKey_ || first_) ? append(key, Size) : isOutOfOrder(key, Size);
    attribute.attributeEvent = event;
    std::memcpy(values_.data() + attribute.valueAt, value, Size);
    return static_cast<std::uint32_t>(&attribute - attributes_.data());
  }

  const MrpParsedAttribute& at(std::uint32_t position) const { return attributes_[position]; }
  // Valid until the next attribute is staged.
  std::span<const std::uint8_t> value(const MrpParsedAttribute& attribute) const {
    return {values_.data() + attribute.valueAt, attribute.valueSize};
  }
  void delAll();
  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }

 private:
  struct Slot {
    std::uint32_t generation = 0;
    std::uint32_t position = 0;
  };
  MrpParsedAttribute& append(std::uint64_t key, std::uint8_t valueSize) {
    MrpParsedAttribute& attribute = attributes_[size_++];
    attribute = {key, valuesEnd_, type_, 0, valueSize};
    valuesEnd_ += valueSize;
    lastKey_ = key;
    first_ = false;
    return attribute;
  }
  void reserve(std::size_t n, std::size_t size);
  // The attribute of `key`, appended when there was none.
  MrpParsedAttribute& isOutOfOrder(std::uint64_t key, std::uint8_t valueSize);
  // The slot of `key`, or the free one where its probe ends.
  Slot& slotOf(const MrpParsedAttributeKey& key);
  void hashAll();

  // Both are room; so much of it is in use.
  std::vector<MrpParsedAttribute> attributes_;
  std::vector<std::uint8_t> values_;  // of all attributes, one behind the other
  std::size_t size_ = 0;
  std::uint32_t valuesEnd_ = 0;
  std::uint8_t type_ = 0;      // of the attributes that come
  std::uint64_t lastKey_ = 0;  // of the attribute appended last
  bool first_ = true;          // none of this type has been appended
  bool ascending_ = true;
  std::size_t next_ = 0;  // where the next look-up of a walk in ascending order will find its key
  std::vector<Slot> slots_;  // room for the hash of as many attributes as there is room for
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
