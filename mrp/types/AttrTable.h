#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mrp/types/KeyOrder.h"
#include "mrp/types/MrpAttrDatabase.h"

namespace Mrp {

// The records of one (port, attribute type), pooled so that a walk reads memory in order, found by
// key and walked in key order. Records keep their address until they are deleted.
class MRP_API AttrTable {
 public:
  // How the keys of a type are spread: dense keys (VLAN identifiers, SR classes) lie below
  // kDenseKeys and index pages of records; sparse ones (stream identifiers) are hashed.
  enum class Keys : std::uint8_t { dense, sparse };
  static constexpr std::uint64_t kDenseKeys = 65536;

  explicit AttrTable(Keys keys);
  ~AttrTable();
  AttrTable(const AttrTable&) = delete;
  AttrTable& operator=(const AttrTable&) = delete;

  MrpAttrDatabase* find(std::uint64_t key) const {
    return keys_ == Keys::dense ? findDense(key) : findSparse(key);
  }
  // The record of `key`, new when there was none. A dense key must lie below kDenseKeys.
  MrpAttrDatabase& is(std::uint64_t key);
  void del(MrpAttrDatabase& record);
  // The record with the smallest key at or above `from`; null past the last.
  MrpAttrDatabase* atOrAbove(std::uint64_t from);
  std::size_t size() const { return size_; }

 private:
  static constexpr std::size_t kPageRecords = 64;
  struct Page {
    std::uint64_t present = 0;
    alignas(64) std::byte storage[kPageRecords * sizeof(MrpAttrDatabase)];
    MrpAttrDatabase* record(std::size_t i) {
      return std::launder(reinterpret_cast<MrpAttrDatabase*>(storage) + i);
    }
  };

  MrpAttrDatabase* findDense(std::uint64_t key) const {
    const std::uint64_t page = key / kPageRecords;
    if (page >= pages_.size() || !pages_[page]) return nullptr;
    const std::uint64_t i = key % kPageRecords;
    return pages_[page]->present >> i & 1 ? pages_[page]->record(i) : nullptr;
  }
  MrpAttrDatabase* findSparse(std::uint64_t key) const;
  MrpAttrDatabase* denseAtOrAbove(std::uint64_t from);
  MrpAttrDatabase* make(std::size_t index, std::uint64_t key);
  MrpAttrDatabase* at(std::size_t index) const {
    return pages_[index / kPageRecords]->record(index % kPageRecords);
  }
  std::size_t home(std::uint64_t key) const;
  std::size_t slotOf(std::uint64_t key) const;
  void grow();

  Keys keys_;
  std::size_t size_ = 0;
  std::vector<std::unique_ptr<Page>> pages_;
  // Sparse keys only.
  std::vector<std::uint32_t> slots_;  // open addressing: index of a record plus 1, 0 when free
  std::vector<std::uint32_t> free_;   // indices of deleted records
  std::size_t used_ = 0;              // records ever taken from the pages
  KeyOrder order_;
};

}  // namespace Mrp
