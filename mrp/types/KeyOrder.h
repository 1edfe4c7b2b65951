#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace Mrp {

// A list of 64-bit keys that is put in ascending order when somebody walks it. It may hold keys
// that its owner has dropped since; the owner tells a live key from a stale one, and calls
// `compact` now and then. Only `reserve` allocates, and throws when it cannot.
class KeyOrder {
 public:
  // Makes room for one more key.
  void reserve() {
    if (keys_.size() == keys_.capacity()) keys_.reserve(std::max<std::size_t>(8, 2 * keys_.size()));
  }
  // There must be room.
  void add(std::uint64_t key) {
    if (sorted_ == keys_.size() && (keys_.empty() || keys_.back() < key)) ++sorted_;
    keys_.push_back(key);
  }

  // The smallest key at or above `from`. Walking on from the key given last takes constant time.
  std::optional<std::uint64_t> atOrAbove(std::uint64_t from) {
    order();
    std::size_t i = hint_;
    const bool near = i < keys_.size() && keys_[i] >= from && (i == 0 || keys_[i - 1] < from);
    if (!near) {
      i = static_cast<std::size_t>(std::lower_bound(keys_.begin(), keys_.end(), from) -
                                   keys_.begin());
    }
    hint_ = i + 1;
    if (i == keys_.size()) return std::nullopt;
    return keys_[i];
  }

  std::size_t size() const { return keys_.size(); }

  template <class IsLive>
  void compact(IsLive isLive) {
    order();
    std::erase_if(keys_, [&](std::uint64_t key) { return !isLive(key); });
    sorted_ = keys_.size();
    if (keys_.empty()) keys_ = {};
  }
  // Calls `compact` when most of the list is stale, so that the list stays within a small multiple
  // of the `live` keys.
  template <class IsLive>
  void trim(std::size_t live, IsLive isLive) {
    if (size() > 2 * live + 64) compact(isLive);
  }

 private:
  void order() {
    if (sorted_ == keys_.size()) return;
    const auto middle = keys_.begin() + static_cast<std::ptrdiff_t>(sorted_);
    std::sort(middle, keys_.end());
    std::inplace_merge(keys_.begin(), middle, keys_.end());
    keys_.erase(std::unique(keys_.begin(), keys_.end()), keys_.end());
    sorted_ = keys_.size();
  }

  std::vector<std::uint64_t> keys_;
  std::size_t sorted_ = 0;  // so many from the front are in order
  std::size_t hint_ = 0;    // where the next step of a walk is likely to be
};

}  // namespace Mrp
