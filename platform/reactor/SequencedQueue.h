#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Platform {

// First-in first-out queue whose elements carry strictly increasing 32-bit sequence numbers.
template <class T>
class SequencedQueue {
 public:
  struct Metadata {
    std::uint32_t head = 0;      // number of the head element, or `next` when empty
    std::uint32_t next = 0;      // running number
    std::uint32_t dequeued = 0;  // elements taken out so far
    std::uint32_t present = 0;   // elements in the queue
    friend bool operator==(const Metadata&, const Metadata&) = default;
  };

  // The new element's number is the larger of the running number and the tail's plus one.
  void enq(T value) {
    if (!empty()) [[unlikely]]
      return enqBehind(value);
    elements_.front() = {metadata_.next, value};
    end_ = 1;
    metadata_.head = metadata_.next;
    ++metadata_.present;
  }

  // An empty queue gives a default value and changes nothing.
  T deq() {
    if (end_ - first_ != 1) [[unlikely]]
      return deqOfMany();
    T value = elements_[first_].value;
    clear();
    ++metadata_.dequeued;
    removed();
    return value;
  }

  // Replaces the value of the element with this number, or appends a new one that bears it.
  void is(std::uint32_t number, const T& value) {
    if (auto it = at(number); it != end()) {
      it->value = value;
    } else {
      append(number, value);
    }
  }

  void del(std::uint32_t number) {
    if (auto it = at(number); it != end()) {
      std::move(it + 1, end(), it);
      if (first_ == --end_) clear();
      removed();
    }
  }

  void delAll() {
    clear();
    metadata_.head = metadata_.next;
    metadata_.present = 0;
  }

  const T* element(std::uint32_t number) const {
    auto it = const_cast<SequencedQueue*>(this)->at(number);
    return it == const_cast<SequencedQueue*>(this)->end() ? nullptr : &it->value;
  }

  bool empty() const { return first_ == end_; }
  const Metadata& metadata() const { return metadata_; }
  void metadataIs(const Metadata& metadata) { metadata_ = metadata; }

 private:
  struct Element {
    std::uint32_t number = 0;
    T value{};
  };

  // Most queues hold one element at a time: these are for all others.
  [[gnu::noinline]] void enqBehind(T value) {
    append(empty() ? metadata_.next : std::max(metadata_.next, elements_[end_ - 1].number + 1),
           value);
  }
  [[gnu::noinline]] T deqOfMany() {
    if (empty()) return T{};
    T value = elements_[first_++].value;
    if (first_ == end_) {
      clear();
    } else if (first_ > kMaxGone && 2 * first_ > end_) {
      compact();
    }
    ++metadata_.dequeued;
    removed();
    return value;
  }

  auto at(std::uint32_t number) {
    return std::find_if(begin(), end(), [number](const Element& e) { return e.number == number; });
  }

  void append(std::uint32_t number, const T& value) {
    if (end_ == elements_.size()) elements_.resize(end_ + 1);
    elements_[end_++] = {number, value};
    metadata_.next = std::max(metadata_.next, number);
    metadata_.head = elements_[first_].number;
    ++metadata_.present;
  }

  void removed() {
    metadata_.head = empty() ? metadata_.next : elements_[first_].number;
    --metadata_.present;
  }

  auto begin() { return elements_.begin() + static_cast<std::ptrdiff_t>(first_); }
  auto end() { return elements_.begin() + static_cast<std::ptrdiff_t>(end_); }
  [[gnu::noinline]] void compact() {
    std::move(begin(), end(), elements_.begin());
    end_ -= first_;
    first_ = 0;
  }
  void clear() { first_ = end_ = 0; }

  static constexpr std::size_t kMaxGone = 64;
  // Those from first_ to end_ are in the queue; both are 0 when it is empty. The others keep the
  // room, and what they hold until it is needed; there is room for one at all times.
  std::vector<Element> elements_ = std::vector<Element>(1);
  std::size_t first_ = 0;
  std::size_t end_ = 0;
  Metadata metadata_;
};

}  // namespace Platform
