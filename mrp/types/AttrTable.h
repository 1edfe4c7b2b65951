#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <vector>

#include "mrp/types/Applications.h"
#include "mrp/types/KeyOrder.h"
#include "mrp/types/MrpAttrDatabase.h"

namespace Mrp {

class MrpIntfTypeApplicant;

// The records of one (port, attribute type), pooled so that a walk reads memory in order, found by
// key and walked in key order.
//
// Invariants:
// * A record keeps its address until it is deleted, and is found by its key until then.
// * Its bits in the sets of its page say what its marks say: present always; visible when committed
//   or pending addition, and not pending deletion; pending addition and pending deletion as marked.
//   Only `marksAre`, `add` and `del` change bits or marks, and `count` is the number of bits.
// * `onlyDeclared` counts the present records that say so of themselves: a record's states tell of
//   every change, a deleted one is put to rest first.
// * A record that bears no mark stays only for as long as one of its leave timers runs.
// * Of sparse keys, every present one has a slot on its probe and stands in the order; the order
//   may hold others.
// * What throws (for want of memory, a dense key out of range) changes nothing.
class MRP_API AttrTable {
  static constexpr std::size_t kSets = 4;
  static constexpr std::size_t kPageRecords = 64;
  struct Page;

 public:
  // Dense keys lie below this.
  static constexpr std::uint64_t kDenseKeys = 65536;
  struct Layout {
    AttributeKeys keys;
    bool wide;  // records have room for the largest value, not just for a VLAN identifier
  };
  enum Set : std::uint8_t { kPresent, kVisible, kPendingAdd, kPendingDelete };

  AttrTable(Layout layout, MrpIntfTypeApplicant* owner);
  ~AttrTable();
  AttrTable(const AttrTable&) = delete;
  AttrTable& operator=(const AttrTable&) = delete;

  MrpAttrDatabase* find(std::uint64_t key) const {
    return layout_.keys == AttributeKeys::dense ? findDense(key) : findSparse(key);
  }
  // The record of `key`, new when there was none; `add`: there must be none. A new one is at rest
  // under these marks. Throws std::bad_alloc, and std::range_error for a dense key from kDenseKeys
  // on.
  MrpAttrDatabase& is(std::uint64_t key, unsigned marks = 0) {
    MrpAttrDatabase* record = find(key);
    return record ? *record : add(key, marks);
  }
  MrpAttrDatabase& add(std::uint64_t key, unsigned marks);
  // The record of `key`. Where there is none, and a new one takes no memory (of a dense key whose
  // page is there), asks `mayAdd` for leave to make one; null elsewhere.
  template <class MayAdd>
  MrpAttrDatabase* findOrAdd(std::uint64_t key, unsigned marks, MayAdd mayAdd) {
    if (layout_.keys != AttributeKeys::dense) return findSparse(key);
    Page* page = pageAt(key);
    if (!page) return nullptr;
    const std::uint64_t i = key % kPageRecords;
    if (page->sets[kPresent] >> i & 1) return recordOf(*page, i);
    return mayAdd() ? &make(*page, key, key, marks) : nullptr;
  }
  void del(MrpAttrDatabase& record);

  // Marks of a record (MrpAttrDatabase::Mark). One that is left without any goes, unless a leave
  // timer runs.
  void marksAre(MrpAttrDatabase& record, unsigned marks);

  std::size_t size() const { return count(kPresent); }
  std::size_t count(Set set) const { return count_[set]; }
  // Records that this station declares and nobody has registered.
  std::size_t onlyDeclared() const { return onlyDeclared_; }

  // A walk through the members of a set in key order, from a key on. Records may come and go
  // between its steps, each of which takes the smallest key above the last one.
  class Walk {
   public:
    Walk(AttrTable& table, Set set, std::uint64_t from = 0)
        : table_(table),
          set_(set),
          from_(from),
          page_(static_cast<std::size_t>(from / kPageRecords)),
          ahead_(~std::uint64_t{0} << from % kPageRecords) {}
    // Null past the last.
    MrpAttrDatabase* next() {
      return table_.layout_.keys == AttributeKeys::dense ? nextDense() : nextSparse();
    }

   private:
    MrpAttrDatabase* nextDense() {
      for (; page_ < table_.pages_.size(); ++page_, ahead_ = ~std::uint64_t{0}) {
        Page* page = table_.pages_[page_].get();
        const std::uint64_t members = page ? page->sets[set_] & ahead_ : 0;
        if (!members) continue;
        ahead_ = ~(members ^ (members - 1));
        return table_.recordOf(*page, static_cast<std::size_t>(std::countr_zero(members)));
      }
      return nullptr;
    }
    MrpAttrDatabase* nextSparse();

    AttrTable& table_;
    Set set_;
    std::optional<std::uint64_t> from_;  // where to go on; none past the largest key
    // Of dense keys: the page to go on in, and a bit for each place ahead there.
    std::size_t page_;
    std::uint64_t ahead_;
  };
  // Visits the members of a set in key order. The visitor may add and delete any record; the walk
  // goes on at the smallest key above the one just handled. A visitor that returns bool ends the
  // walk with false; the result is whether the walk came to its end.
  template <class Visit>
  bool walk(Set set, Visit visit) {
    Walk steps(*this, set);
    while (MrpAttrDatabase* record = steps.next()) {
      if constexpr (std::is_void_v<decltype(visit(*record))>) {
        visit(*record);
      } else if (!visit(*record)) {
        return false;
      }
    }
    return true;
  }

  // Owner of the table that holds the record.
  static MrpIntfTypeApplicant& ownerOf(MrpAttrDatabase& record) {
    return *pageOf(record).table->owner_;
  }
  // MrpAttrDatabase::applicantStateIs for a caller that knows the table.
  void applicantStateIs(MrpAttrDatabase& record, MrpApplicantState state) {
    if (record.registrarState_ == MrpRegistrarState::mt) {
      onlyDeclared_ += std::size_t{declares(state)} - std::size_t{declares(record.applicantState_)};
    }
    record.applicantState_ = state;
  }
  // A record's states tell of it here when it has begun or ceased to be declared only.
  static void onlyDeclaredChanged(MrpAttrDatabase& record) {
    std::size_t& count = pageOf(record).table->onlyDeclared_;
    record.onlyDeclared() ? ++count : --count;
  }

 private:
  // Head of a page; its records follow.
  struct alignas(64) Page {
    std::array<std::uint64_t, kSets> sets{};  // a bit for each record
    AttrTable* table = nullptr;
  };
  struct PageDel {
    void operator()(Page* page) const { ::operator delete (page, std::align_val_t{alignof(Page)}); }
  };

  static Page& pageOf(MrpAttrDatabase& record) {
    const std::size_t size = MrpAttrDatabase::size(record.wide());
    return *reinterpret_cast<Page*>(reinterpret_cast<std::byte*>(&record) - record.number() * size -
                                    sizeof(Page));
  }
  void* placeOf(Page& page, std::size_t number) const {
    return reinterpret_cast<std::byte*>(&page + 1) + number * recordSize_;
  }
  MrpAttrDatabase* recordOf(Page& page, std::size_t number) const {
    return std::launder(static_cast<MrpAttrDatabase*>(placeOf(page, number)));
  }
  static bool isMember(Set set, MrpAttrDatabase& record) {
    return pageOf(record).sets[set] >> record.number() & 1;
  }
  // Enters a record that is no member into a set.
  void enter(Set set, Page& page, std::uint64_t bit) {
    page.sets[set] |= bit;
    ++count_[set];
  }
  // Enters a record that is no member into a set, or takes a member out.
  void toggle(Set set, Page& page, std::uint64_t bit) {
    page.sets[set] ^= bit;
    count_[set] += page.sets[set] & bit ? 1 : std::size_t(-1);
  }

  // Of the record at an index; null when there is none yet.
  Page* pageAt(std::size_t index) const {
    const std::size_t i = index / kPageRecords;
    return i < pages_.size() ? pages_[i].get() : nullptr;
  }
  MrpAttrDatabase* findDense(std::uint64_t key) const {
    Page* page = pageAt(key);
    const std::uint64_t i = key % kPageRecords;
    return page && page->sets[kPresent] >> i & 1 ? recordOf(*page, i) : nullptr;
  }
  MrpAttrDatabase* findSparse(std::uint64_t key) const;
  MrpAttrDatabase& addSparse(std::uint64_t key, unsigned marks);
  void delSparse(std::uint64_t key);
  // A record at an index that has a page, or at any.
  MrpAttrDatabase& make(Page& page, std::size_t index, std::uint64_t key, unsigned marks) {
    const std::size_t number = index % kPageRecords;
    const std::uint64_t bit = std::uint64_t{1} << number;
    enter(kPresent, page, bit);
    if (MrpAttrDatabase::visible(marks)) enter(kVisible, page, bit);
    if (marks & MrpAttrDatabase::kPendingAdd) enter(kPendingAdd, page, bit);
    return *new (placeOf(page, number)) MrpAttrDatabase(key, number, layout_.wide, marks);
  }
  [[gnu::noinline]] MrpAttrDatabase& make(std::size_t index, std::uint64_t key, unsigned marks);
  Page& makePage(std::size_t index);
  [[noreturn]] static void refuse();
  MrpAttrDatabase* at(std::size_t index) const {
    return recordOf(*pages_[index / kPageRecords], index % kPageRecords);
  }
  std::size_t home(std::uint64_t key) const;
  std::size_t slotOf(std::uint64_t key) const;
  void grow();

  Layout layout_;
  std::size_t recordSize_;
  MrpIntfTypeApplicant* owner_;
  std::array<std::size_t, kSets> count_{};
  std::size_t onlyDeclared_ = 0;
  std::vector<std::unique_ptr<Page, PageDel>> pages_;
  // Sparse keys only.
  std::vector<std::uint32_t> slots_;  // open addressing: index of a record plus 1, 0 when free
  std::vector<std::uint32_t> free_;   // indices of deleted records
  std::size_t used_ = 0;              // records ever taken from the pages
  // Position and key of the record found last: the next stream often stands beside it.
  mutable std::size_t foundAt_ = 0;
  mutable std::uint64_t found_ = 0;
  KeyOrder order_;
};

}  // namespace Mrp
