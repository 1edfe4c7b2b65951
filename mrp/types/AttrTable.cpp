#include "mrp/types/AttrTable.h"

#include <bit>
#include <new>

#include "platform/Assert.h"

namespace Mrp {

AttrTable::AttrTable(Layout layout, MrpIntfTypeApplicant* owner)
    : layout_(layout), recordSize_(MrpAttrDatabase::size(layout.wide)), owner_(owner) {}

AttrTable::~AttrTable() {
  for (std::size_t index = 0; index < pages_.size() * kPageRecords; ++index) {
    const auto& page = pages_[index / kPageRecords];
    if (page && page->sets[kPresent] >> index % kPageRecords & 1) at(index)->~MrpAttrDatabase();
  }
}

MrpAttrDatabase* AttrTable::make(std::size_t index, std::uint64_t key) {
  const std::size_t number = index % kPageRecords;
  const std::size_t i = index / kPageRecords;
  if (i >= pages_.size()) pages_.resize(i + 1);
  if (!pages_[i]) {
    const std::size_t size = sizeof(Page) + kPageRecords * recordSize_;
    pages_[i].reset(new (::operator new (size, std::align_val_t{alignof(Page)})) Page);
    pages_[i]->owner = owner_;
  }
  void* place = reinterpret_cast<std::byte*>(pages_[i].get() + 1) + number * recordSize_;
  return new (place) MrpAttrDatabase(key, number, layout_.wide);
}

MrpAttrDatabase& AttrTable::add(std::uint64_t key) {
  std::size_t index = static_cast<std::size_t>(key);
  if (layout_.keys == Keys::dense) {
    MRP_ASSERT(key < kDenseKeys);
  } else {
    if (4 * (size() + 1) > 3 * slots_.size()) grow();
    index = used_;
    if (free_.empty()) {
      ++used_;
    } else {
      index = free_.back();
      free_.pop_back();
    }
    slots_[slotOf(key)] = static_cast<std::uint32_t>(index + 1);
  }
  MrpAttrDatabase& record = *make(index, key);
  setIs(kPresent, record, true);
  return record;
}

void AttrTable::del(MrpAttrDatabase& record) {
  const std::uint64_t key = record.attributeKey();
  record.reset();  // leaves the owner's count
  for (const Set set : {kPendingAdd, kPendingDelete}) {
    if (isMember(set, record)) setIs(set, record, false);
  }
  if (layout_.keys == Keys::sparse) {
    std::size_t hole = slotOf(key);
    free_.push_back(slots_[hole] - 1);
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
  }
  setIs(kPresent, record, false);
  record.~MrpAttrDatabase();
}

void AttrTable::orderIs(Set set, const MrpAttrDatabase& record, bool member) {
  if (member) return order_[set].add(record.attributeKey());
  order_[set].trim(count_[set], [this, set](std::uint64_t key) {
    MrpAttrDatabase* live = findSparse(key);
    return live && isMember(set, *live);
  });
}

MrpAttrDatabase* AttrTable::sparseAtOrAbove(Set set, std::uint64_t from) {
  while (count_[set] > 0) {
    const auto key = order_[set].atOrAbove(from);
    if (!key) break;
    MrpAttrDatabase* record = findSparse(*key);
    if (record && isMember(set, *record)) return record;
    if (*key == UINT64_MAX) break;
    from = *key + 1;
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
  if (key == found_ + 1 && foundAt_ + 1 < used_) {
    MrpAttrDatabase* beside = at(foundAt_ + 1);
    const Page& page = *pages_[(foundAt_ + 1) / kPageRecords];
    const bool present = page.sets[kPresent] >> (foundAt_ + 1) % kPageRecords & 1;
    if (present && beside->attributeKey() == key) {
      ++foundAt_;
      found_ = key;
      return beside;
    }
  }
  const std::uint32_t slot = slots_[slotOf(key)];
  if (!slot) return nullptr;
  foundAt_ = slot - 1;
  found_ = key;
  return at(foundAt_);
}

void AttrTable::grow() {
  std::vector<std::uint32_t> old(slots_.empty() ? 64 : 2 * slots_.size());
  old.swap(slots_);
  for (std::uint32_t slot : old) {
    if (slot) slots_[slotOf(at(slot - 1)->attributeKey())] = slot;
  }
}

}  // namespace Mrp
