#include "mrp/types/AttrTable.h"

#include <bit>
#include <new>

#include "platform/Assert.h"

namespace Mrp {

AttrTable::AttrTable(Keys keys) : keys_(keys) {}

AttrTable::~AttrTable() = default;

MrpAttrDatabase* AttrTable::make(std::size_t index, std::uint64_t key) {
  const std::size_t page = index / kPageRecords;
  if (page >= pages_.size()) pages_.resize(page + 1);
  if (!pages_[page]) pages_[page].reset(new Page);
  Page& p = *pages_[page];
  p.present |= std::uint64_t{1} << index % kPageRecords;
  ++size_;
  return new (p.storage + index % kPageRecords * sizeof(MrpAttrDatabase)) MrpAttrDatabase(key);
}

MrpAttrDatabase& AttrTable::is(std::uint64_t key) {
  if (MrpAttrDatabase* record = find(key)) return *record;
  if (keys_ == Keys::dense) {
    MRP_ASSERT(key < kDenseKeys);
    return *make(static_cast<std::size_t>(key), key);
  }
  if (4 * (size_ + 1) > 3 * slots_.size()) grow();
  std::size_t index = used_;
  if (free_.empty()) {
    ++used_;
  } else {
    index = free_.back();
    free_.pop_back();
  }
  slots_[slotOf(key)] = static_cast<std::uint32_t>(index + 1);
  order_.add(key);
  return *make(index, key);
}

void AttrTable::del(MrpAttrDatabase& record) {
  const std::uint64_t key = record.attributeKey();
  std::size_t index = static_cast<std::size_t>(key);
  if (keys_ == Keys::sparse) {
    std::size_t hole = slotOf(key);
    index = slots_[hole] - 1;
    // Move later members of the chain back, so that no probe stops short of them.
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = (hole + 1) & mask; slots_[i]; i = (i + 1) & mask) {
      const std::size_t from = home(at(slots_[i] - 1)->attributeKey());
      if (((i - from) & mask) >= ((i - hole) & mask)) {
        slots_[hole] = slots_[i];
        hole = i;
      }
    }
    slots_[hole] = 0;
    free_.push_back(static_cast<std::uint32_t>(index));
  }
  record.~MrpAttrDatabase();
  pages_[index / kPageRecords]->present &= ~(std::uint64_t{1} << index % kPageRecords);
  --size_;
  if (keys_ == Keys::sparse) {
    order_.trim(size_, [this](std::uint64_t k) { return findSparse(k) != nullptr; });
  }
}

MrpAttrDatabase* AttrTable::atOrAbove(std::uint64_t from) {
  if (keys_ == Keys::dense) return denseAtOrAbove(from);
  while (auto key = order_.atOrAbove(from)) {
    if (MrpAttrDatabase* record = findSparse(*key)) return record;
    if (*key == UINT64_MAX) break;
    from = *key + 1;
  }
  return nullptr;
}

MrpAttrDatabase* AttrTable::denseAtOrAbove(std::uint64_t from) {
  std::uint64_t i = from % kPageRecords;
  for (std::uint64_t page = from / kPageRecords; page < pages_.size(); ++page, i = 0) {
    if (!pages_[page]) continue;
    const std::uint64_t present = pages_[page]->present >> i << i;
    if (present) return pages_[page]->record(static_cast<std::size_t>(std::countr_zero(present)));
  }
  return nullptr;
}

// Mixes the key with the table's address: a peer that chooses stream identifiers cannot tell which
// of them share a slot.
std::size_t AttrTable::home(std::uint64_t key) const {
  std::uint64_t h = key ^ reinterpret_cast<std::uintptr_t>(this);
  h = (h ^ h >> 33) * 0xFF51AFD7ED558CCDu;
  h = (h ^ h >> 33) * 0xC4CEB9FE1A85EC53u;
  return static_cast<std::size_t>(h ^ h >> 33) & (slots_.size() - 1);
}

// The slot that holds `key`, or the free one where its probe ends.
std::size_t AttrTable::slotOf(std::uint64_t key) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = home(key);
  while (slots_[i] && at(slots_[i] - 1)->attributeKey() != key) i = (i + 1) & mask;
  return i;
}

MrpAttrDatabase* AttrTable::findSparse(std::uint64_t key) const {
  if (slots_.empty()) return nullptr;
  const std::uint32_t slot = slots_[slotOf(key)];
  return slot ? at(slot - 1) : nullptr;
}

void AttrTable::grow() {
  std::vector<std::uint32_t> old(slots_.empty() ? 64 : 2 * slots_.size());
  old.swap(slots_);
  for (std::uint32_t slot : old) {
    if (slot) slots_[slotOf(at(slot - 1)->attributeKey())] = slot;
  }
}

}  // namespace Mrp
