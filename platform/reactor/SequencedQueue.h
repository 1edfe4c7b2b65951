#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>

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
  void enq(const T& value) {
    std::uint32_t number = metadata_.next;
    if (!elements_.empty()) number = std::max(number, elements_.back().number + 1);
    append(number, value);
  }

  // An empty queue gives a default value and changes nothing.
  T deq() {
    if (elements_.empty()) return T{};
    T value = elements_.front().value;
    elements_.pop_front();
    ++metadata_.dequeued;
    removed();
    return value;
  }

  // Replaces the value of the element with this number, or appends a new one that bears it.
  void is(std::uint32_t number, const T& value) {
    if (auto it = at(number); it != elements_.end()) {
      it->value = value;
    } else {
      append(number, value);
    }
  }

  void del(std::uint32_t number) {
    if (auto it = at(number); it != elements_.end()) {
      elements_.erase(it);
      removed();
    }
  }

  void delAll() {
    elements_.clear();
    metadata_.head = metadata_.next;
    metadata_.present = 0;
  }

  const T* element(std::uint32_t number) const {
    auto it = const_cast<SequencedQueue*>(this)->at(number);
    return it == elements_.end() ? nullptr : &it->value;
  }

  bool empty() const { return elements_.empty(); }
  const Metadata& metadata() const { return metadata_; }
  void metadataIs(const Metadata& metadata) { metadata_ = metadata; }

 private:
  struct Element {
    std::uint32_t number;
    T value;
  };

  auto at(std::uint32_t number) {
    return std::find_if(elements_.begin(), elements_.end(),
                        [number](const Element& e) { return e.number == number; });
  }

  void append(std::uint32_t number, const T& value) {
    elements_.push_back({number, value});
    metadata_.next = std::max(metadata_.next, number);
    metadata_.head = elements_.front().number;
    ++metadata_.present;
  }

  void removed() {
    metadata_.head = elements_.empty() ? metadata_.next : elements_.front().number;
    --metadata_.present;
  }

  std::deque<Element> elements_;
  Metadata metadata_;
};

}  // namespace Platform
