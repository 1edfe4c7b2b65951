#include "mrp/types/AttrTable.h"

#include <stdexcept>

namespace Mrp {

AttrTable::AttrTable(Layout layout, MrpIntfTypeApplicant* owner)
    : layout_(layout), recordSize_(MrpAttrDatabase::size(layout.wide)), owner_(owner) {}

AttrTable::~AttrTable() {
  for (std::size_t index = 0; index < pages_.size() * kPageRecords; ++index) {
    const auto& page = pages_[index / kPageRecords];
    if (page && page->sets[kPresent] >> index % kPageRecords & 1) at(index)->~MrpAttrDatabase();
  }
}

MrpAttrDatabase& AttrTable::make(std::size_t index, std::uint64_t key, unsigned marks) {
  Page* page = pageAt(index);
  return make(page ? *page : makePage(index / kPageRecords), index, key, marks);
}

void AttrTable::refuse() {
  throw std::range_error(
      "AttributeKey::value < AttributeKey::min or > AttributeKey::max not allowed");
}

AttrTable::Page& AttrTable::makePage(std::size_t index) {
  if (index >= pages_.size()) pages_.resize(index + 1);
  const std::size_t size = sizeof(Page) + kPageRecords * recordSize_;
  pages_[index].reset(new (::operator new (size, std::align_val_t{alignof(Page)})) Page);
  pages_[index]->table = this;
  return *pages_[index];
}

MrpAttrDatabase& AttrTable::add(std::uint64_t key, unsigned marks) {
  if (layout_.keys == AttributeKeys::sparse) return addSparse(key, marks);
  if (key >= kDenseKeys) refuse();
  return make(key, key, marks);
}

// All room is made before anything is linked.
MrpAttrDatabase& AttrTable::addSparse(std::uint64_t key, unsigned marks) {
  if (4 * (size() + 1) > 3 * slots_.size()) grow();
  order_.reserve();
  if (free_.capacity() < used_ + 1) free_.reserve(2 * (used_ + 1));
  const std::size_t index = free_.empty() ? used_ : free_.back();
  MrpAttrDatabase& record = make(index, key, marks);
  free_.empty() ? void(++used_) : free_.pop_back();
  slots_[slotOf(key)] = static_cast<std::uint32_t>(index + 1);
  order_.add(key);
  return record;
}

void AttrTable::del(MrpAttrDatabase& record) {
  const std::uint64_t key = record.attributeKey();
  record.reset();  // leaves onlyDeclared
  if (layout_.keys == AttributeKeys::sparse) delSparse(key);
  Page& page = pageOf(record);
  const std::uint64_t bit = std::uint64_t{1} << record.number();
  for (const Set set : {kVisible, kPendingAdd, kPendingDelete, kPresent}) {
    if (page.sets[set] & bit) toggle(set, page, bit);
  }
  record.~MrpAttrDatabase();
  if (layout_.keys == AttributeKeys::sparse) {
    order_.trim(size(), [this](std::uint64_t known) { return findSparse(known) != nullptr; });
  }
}

// Takes the slot away, and moves later members of its chain back, so that no probe stops short of
// them.
void AttrTable::delSparse(std::uint64_t key) {
  std::size_t hole = slotOf(key);
  free_.push_back(slots_[hole] - 1);
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

void AttrTable::marksAre(MrpAttrDatabase& record, unsigned marks) {
  const unsigned changed = record.marks() ^ marks;
  const bool wasVisible = record.visible();
  record.marksAre(marks);
  Page& page = pageOf(record);
  const std::uint64_t bit = std::uint64_t{1} << record.number();
  if (record.visible() != wasVisible) toggle(kVisible, page, bit);
  if (changed & MrpAttrDatabase::kPendingAdd) toggle(kPendingAdd, page, bit);
  if (changed & MrpAttrDatabase::kPendingDelete) toggle(kPendingDelete, page, bit);
  if (record.idle()) del(record);
}

MrpAttrDatabase* AttrTable::Walk::nextSparse() {
  while (from_ && table_.count_[set_] > 0) {
    const auto key = table_.order_.atOrAbove(*from_);
    if (!key) break;
    from_ = *key == UINT64_MAX ? std::nullopt : std::optional(*key + 1);
    MrpAttrDatabase* record = table_.findSparse(*key);
    if (record && isMember(set_, *record)) return record;
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
