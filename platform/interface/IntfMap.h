#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "platform/interface/IntfId.h"

namespace Platform {

// Collection keyed by port: found by index in constant time, walked in the order of IntfId.
// Elements stay where they are until they are deleted.
template <class T>
class IntfMap {
 public:
  using Element = std::pair<const IntfId, T>;

  T* find(IntfId intf) const {
    const auto index = static_cast<std::size_t>(intf.value());
    return index < table_.size() && table_[index] ? &table_[index]->second : nullptr;
  }
  bool has(IntfId intf) const { return find(intf) != nullptr; }

  // The element of `intf`, made from `args` when there is none.
  template <class... Args>
  T& is(IntfId intf, Args&&... args) {
    const auto index = static_cast<std::size_t>(intf.value());
    if (index >= table_.size()) table_.resize(index + 1);
    if (!table_[index]) {
      table_[index] = std::unique_ptr<Element>(
          new Element(std::piecewise_construct, std::forward_as_tuple(intf),
                      std::forward_as_tuple(std::forward<Args>(args)...)));
      order_.insert(std::upper_bound(order_.begin(), order_.end(), intf), intf);
    }
    return table_[index]->second;
  }

  // The element is destroyed after it has left the collection.
  bool del(IntfId intf) {
    const auto index = static_cast<std::size_t>(intf.value());
    if (index >= table_.size() || !table_[index]) return false;
    std::unique_ptr<Element> gone = std::move(table_[index]);
    order_.erase(std::lower_bound(order_.begin(), order_.end(), intf));
    return true;
  }
  void delAll() {
    while (!order_.empty()) del(order_.back());
  }

  bool empty() const { return order_.empty(); }
  std::size_t size() const { return order_.size(); }
  const std::vector<IntfId>& keys() const { return order_; }

  // Visits (port, element) in order. The visitor may add and delete any element; the walk goes on
  // at the smallest port above the one just handled.
  template <class Visit>
  void walk(Visit visit) const {
    for (std::size_t i = 0; i < order_.size();) {
      const IntfId intf = order_[i];
      visit(intf, table_[static_cast<std::size_t>(intf.value())]->second);
      if (i < order_.size() && order_[i] == intf) {
        ++i;
      } else {
        i = static_cast<std::size_t>(std::upper_bound(order_.begin(), order_.end(), intf) -
                                     order_.begin());
      }
    }
  }

 private:
  std::vector<std::unique_ptr<Element>> table_;
  std::vector<IntfId> order_;
};

}  // namespace Platform
