#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <vector>

#include "mrp/types/KeyOrder.h"
#include "mrp/types/MrpAttrDatabase.h"

namespace Mrp {

class MrpIntfTypeApplicant;

// The records of one (port, attribute type), pooled so that a walk reads memory in order, found by
// key and walked in key order. Records keep their address until they are deleted.
class MRP_API AttrTable {
 public:
  // How the keys of a type are spread: dense keys (VLAN identifiers, SR classes) lie below
  // kDenseKeys and index pages of records; sparse ones (stream identifiers) are hashed.
  enum class Keys : std::uint8_t { dense, sparse };
  static constexpr std::uint64_t kDenseKeys = 65536;
  struct Layout {
    Keys keys;
    bool wide;  // records have room for the largest value, not just for a VLAN identifier
  };
  // Sets of records that can be walked. Every record is present.
  enum Set : std::uint8_t { kPresent, kPendingAdd, kPendingDelete };

  AttrTable(Layout layout, MrpIntfTypeApplicant* owner);
  ~AttrTable();
  AttrTable(const AttrTable&) = delete;
  AttrTable& operator=(const AttrTable&) = delete;

  MrpAttrDatabase* find(std::uint64_t key) const {
    return layout_.keys == Keys::dense ? findDense(key) : findSparse(key);
  }
  // The record of `key`, new when there was none. A dense key must lie below kDenseKeys.
  MrpAttrDatabase& is(std::uint64_t key) {
    MrpAttrDatabase* record = find(key);
    return record ? *record : add(key);
  }
  // A new record; there must be none of this key.
  MrpAttrDatabase& add(std::uint64_t key);
  void del(MrpAttrDatabase& record);
  std::size_t size() const { return count_[kPresent]; }

  // Enters a record that is no member into a set, or takes a member out.
  void setIs(Set set, MrpAttrDatabase& record, bool member) {
    pageOf(record).sets[set] ^= std::uint64_t{1} << numberOf(record);
    count_[set] += member ? 1 : std::size_t(-1);
    if (layout_.keys == Keys::sparse) orderIs(set, record, member);
  }
  std::size_t count(Set set) const { return count_[set]; }
  // The member with the smallest key at or above `from`; null past the last.
  MrpAttrDatabase* atOrAbove(Set set, std::uint64_t from) {
    return layout_.keys == Keys::dense ? denseAtOrAbove(set, from) : sparseAtOrAbove(set, from);
  }

  // Owner of the table that holds the record.
  static MrpIntfTypeApplicant& ownerOf(MrpAttrDatabase& record) { return *pageOf(record).owner; }

 private:
  static constexpr std::size_t kSets = 3;
  static constexpr std::size_t kPageRecords = 64;
  static constexpr std::uint8_t kNumber = kPageRecords - 1;
  // Head of a page; its records follow.
  struct alignas(64) Page {
    std::array<std::uint64_t, kSets> sets{};  // a bit for each record
    MrpIntfTypeApplicant* owner = nullptr;
  };
  struct PageDel {
    void operator()(Page* page) const { ::operator delete (page, std::align_val_t{alignof(Page)}); }
  };

  static std::uint8_t numberOf(const MrpAttrDatabase& record) { return record.place_ & kNumber; }
  static Page& pageOf(MrpAttrDatabase& record) {
    const std::size_t size = MrpAttrDatabase::size(record.place_ & MrpAttrDatabase::kWide);
    return *reinterpret_cast<Page*>(reinterpret_cast<std::byte*>(&record) -
                                    numberOf(record) * size - sizeof(Page));
  }
  MrpAttrDatabase* recordOf(Page& page, std::size_t number) const {
    return std::launder(reinterpret_cast<MrpAttrDatabase*>(reinterpret_cast<std::byte*>(&page + 1) +
                                                           number * recordSize_));
  }

  MrpAttrDatabase* findDense(std::uint64_t key) const {
    const std::uint64_t page = key / kPageRecords;
    if (page >= pages_.size() || !pages_[page]) return nullptr;
    const std::uint64_t i = key % kPageRecords;
    return pages_[page]->sets[kPresent] >> i & 1 ? recordOf(*pages_[page], i) : nullptr;
  }
  MrpAttrDatabase* denseAtOrAbove(Set set, std::uint64_t from) {
    std::uint64_t i = from % kPageRecords;
    for (std::uint64_t page = from / kPageRecords; page < pages_.size(); ++page, i = 0) {
      if (!pages_[page]) continue;
      const std::uint64_t members = pages_[page]->sets[set] >> i << i;
      if (members) {
        return recordOf(*pages_[page], static_cast<std::size_t>(std::countr_zero(members)));
      }
    }
    return nullptr;
  }
  MrpAttrDatabase* findSparse(std::uint64_t key) const;
  MrpAttrDatabase* sparseAtOrAbove(Set set, std::uint64_t from);
  MrpAttrDatabase* make(std::size_t index, std::uint64_t key);
  MrpAttrDatabase* at(std::size_t index) const {
    return recordOf(*pages_[index / kPageRecords], index % kPageRecords);
  }
  std::size_t home(std::uint64_t key) const;
  std::size_t slotOf(std::uint64_t key) const;
  void grow();
  static bool isMember(Set set, MrpAttrDatabase& record) {
    return pageOf(record).sets[set] >> numberOf(record) & 1;
  }
  void orderIs(Set set, const MrpAttrDatabase& record, bool member);

  Layout layout_;
  std::size_t recordSize_;
  MrpIntfTypeApplicant* owner_;
  std::array<std::size_t, kSets> count_{};
  std::vector<std::unique_ptr<Page, PageDel>> pages_;
  // Sparse keys only.
  std::vector<std::uint32_t> slots_;  // open addressing: index of a record plus 1, 0 when free
  std::vector<std::uint32_t> free_;   // indices of deleted records
  std::size_t used_ = 0;              // records ever taken from the pages
  // Position and key of the record found last: the next stream often stands beside it.
  mutable std::size_t foundAt_ = 0;
  mutable std::uint64_t found_ = 0;
  std::array<KeyOrder, kSets> order_;
};

}  // namespace Mrp
