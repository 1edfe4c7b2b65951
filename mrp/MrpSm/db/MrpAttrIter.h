#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "mrp/types/MrpStatus.h"

namespace Mrp {

// Index of the attributes of one (port, attribute type), in ascending key order: a view of the
// records that a look-up sees. There is no second list of keys to keep in step, so a record enters
// the index when it is added, leaves it when it is removed or marked for deletion, and is back when
// the deletion is cancelled.
class MrpAttrIter {
 public:
  // Text form "Value('Mrp::MrpAttrIter::Key', ** {'intfId': %s, 'attributeType': %s})".
  struct Key {
    IntfId intfId;
    std::uint8_t attributeType = 0;
    friend bool operator==(const Key&, const Key&) = default;
    friend std::strong_ordering operator<=>(const Key&, const Key&) = default;
    // 32-bit one-at-a-time hash of the identifier's 8 octets in memory order and the type.
    MRP_API std::uint32_t hash() const;
    MRP_API static std::optional<Key> parse(std::string_view text);
  };

  MrpAttrIter(const Key& key, MrpIntfTypeApplicant& types) : key_(key), types_(&types) {}

  const Key& key() const { return key_; }
  bool attributeKeyHas(std::uint64_t key) const { return types_->visible(key) != nullptr; }
  std::size_t attributeKeys() const { return types_->visibleCount(); }

  // Visits the records in key order. The visitor may add and delete any record; the walk goes on at
  // the smallest key above the one just handled.
  template <class Visit>
  void walk(Visit visit) const {
    types_->walk(AttrTable::kVisible, visit);
  }

 private:
  Key key_;
  MrpIntfTypeApplicant* types_;
};

MRP_API std::ostream& operator<<(std::ostream& out, const MrpAttrIter::Key& key);

}  // namespace Mrp
