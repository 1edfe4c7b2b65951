#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/interface/IntfId.h"

namespace Platform {

// Collection keyed by port: found by index in constant time, walked in the order of IntfId.
// Elements stay where they are until they are deleted. The place of a port is kept when its element
// goes, so that elements may come and go as often as packets do.
template <class T>
class IntfMap {
 public:
  T* find(IntfId intf) const { return elementAt(placeOf(intf)); }
  bool has(IntfId intf) const { return find(intf) != nullptr; }

  // The place of a port, for whoever asks for its element again and again. Not longer than the map.
  class Place {
   public:
    Place(const IntfMap& map, IntfId intf) : map_(&map), intf_(intf) {}
    // What `find` gives by now.
    [[gnu::always_inline]] T* find() { return *place_ ? &**place_ : look(); }
    // The same once that has found one; null before.
    T* known() { return *place_ ? &**place_ : nullptr; }

   private:
    [[gnu::noinline]] T* look() {
      std::optional<T>* const place = map_->placeOf(intf_);
      if (place) place_ = place;
      return elementAt(place);
    }

    inline static std::optional<T> nowhere_;  // always empty
    const IntfMap* map_;
    IntfId intf_;
    std::optional<T>* place_ = &nowhere_;
  };

  // The element of `intf`, made from `args` when there is none.
  template <class... Args>
  T& is(IntfId intf, Args&&... args) {
    const auto index = static_cast<std::size_t>(intf.value());
    if (index >= places_.size()) places_.resize(index + 1);
    if (!places_[index]) {
      places_[index] = std::make_unique<std::optional<T>>();
      order_.insert(std::upper_bound(order_.begin(), order_.end(), intf), intf);
    }
    std::optional<T>& element = *places_[index];
    if (!element) {
      element.emplace(std::forward<Args>(args)...);
      ++size_;
    }
    return *element;
  }

  // The element is destroyed after it has left the collection.
  bool del(IntfId intf) {
    if (!find(intf)) return false;
    std::optional<T>& element = *places_[static_cast<std::size_t>(intf.value())];
    [[maybe_unused]] const std::optional<T> gone = std::move(element);
    element.reset();
    --size_;
    return true;
  }
  void delAll() {
    for (std::size_t i = order_.size(); i-- > 0;) del(order_[i]);
  }

  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }

  // Visits (port, element) in order. The visitor may add and delete any element; the walk goes on
  // at the smallest port above the one just handled.
  template <class Visit>
  void walk(Visit visit) const {
    for (std::size_t i = 0; i < order_.size();) {
      const IntfId intf = order_[i];
      if (T* element = find(intf)) visit(intf, *element);
      if (order_[i] == intf) {
        ++i;
      } else {
        i = static_cast<std::size_t>(std::upper_bound(order_.begin(), order_.end(), intf) -
                                     order_.begin());
      }
    }
  }

 private:
  std::optional<T>* placeOf(IntfId intf) const {
    const auto index = static_cast<std::size_t>(intf.value());
    return index < places_.size() ? places_[index].get() : nullptr;
  }
  static T* elementAt(std::optional<T>* place) { return place && *place ? &**place : nullptr; }

  std::vector<std::unique_ptr<std::optional<T>>> places_;
  std::vector<IntfId> order_;  // of all places, with an element or without
  std::size_t size_ = 0;
};

}  // namespace Platform
