#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace Mrp {

// A list of 64-bit keys that is put in ascending order when somebody walks it. It may hold keys
// that its owner has dropped since; the owner tells a live key from a stale one, and calls
// `compact` now and then.
class KeyOrder {
 public:
  void add(std::uint64_t key) {
    if (unsorted_.empty() && (sorted_.empty() || sorted_.back() < key)) {
      sorted_.push_back(key);
    } else {
      unsorted_.push_back(key);
    }
  }

  // The smallest key at or above `from`. Walking on from the key given last takes constant time.
  std::optional<std::uint64_t> atOrAbove(std::uint64_t from) {
    order();
    std::size_t i = hint_;
    const bool near = i < sorted_.size() && sorted_[i] >= from && (i == 0 || sorted_[i - 1] < from);
    if (!near) {
      i = static_cast<std::size_t>(std::lower_bound(sorted_.begin(), sorted_.end(), from) -
                                   sorted_.begin());
    }
    hint_ = i + 1;
    if (i == sorted_.size()) return std::nullopt;
    return sorted_[i];
  }

  std::size_t size() const { return sorted_.size() + unsorted_.size(); }

  template <class IsLive>
  void compact(IsLive isLive) {
    order();
    std::erase_if(sorted_, [&](std::uint64_t key) { return !isLive(key); });
    if (sorted_.empty()) sorted_.shrink_to_fit();
    if (sorted_.empty()) unsorted_.shrink_to_fit();
  }
  // Calls `compact` when most of the list is stale, so that the list stays within a small multiple
  // of the `live` keys.
  template <class IsLive>
  void trim(std::size_t live, IsLive isLive) {
    if (size() > 2 * live + 64) compact(isLive);
  }

 private:
  void order() {
    if (unsorted_.empty()) return;
    std::sort(unsorted_.begin(), unsorted_.end());
    const auto middle = static_cast<std::ptrdiff_t>(sorted_.size());
    sorted_.insert(sorted_.end(), unsorted_.begin(), unsorted_.end());
    unsorted_.clear();
    std::inplace_merge(sorted_.begin(), sorted_.begin() + middle, sorted_.end());
    sorted_.erase(std::unique(sorted_.begin(), sorted_.end()), sorted_.end());
  }

  std::vector<std::uint64_t> sorted_;
  std::vector<std::uint64_t> unsorted_;
  std::size_t hint_ = 0;  // where the next step of a walk is likely to be
};

}  // namespace Mrp
