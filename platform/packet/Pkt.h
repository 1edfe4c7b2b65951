#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

#include "platform/Assert.h"
#include "platform/reactor/Ptr.h"

namespace Platform {

class PktPool;

// One packet buffer: head room, data, tail room in one allocation. Growing beyond the room is a
// programming error; deleting more than the data holds deletes all of it.
class MRP_API Pkt : public PtrInterface {
 public:
  Pkt(std::size_t capacity);
  ~Pkt() override;

  // Empties the packet, leaving `headRoom` octets before the data. Contents are not cleared.
  void reset(std::size_t headRoom);
  std::size_t capacity() const { return capacity_; }

  std::uint8_t* data() { return buffer_.get() + begin_; }
  const std::uint8_t* data() const { return buffer_.get() + begin_; }
  std::size_t size() const { return end_ - begin_; }
  std::span<const std::uint8_t> octets() const { return {data(), size()}; }
  // Octets that lie contiguously from the front; a Pkt is always one piece.
  std::size_t frontBytes() const { return size(); }
  std::size_t headRoom() const { return begin_; }
  std::size_t tailRoom() const { return capacity_ - end_; }

  // Prepends `n` octets, contents as they come.
  void headAdd(std::size_t n) {
    MRP_ASSERT_TEXT(n <= headRoom(), "n <= headRoom()");
    begin_ -= n;
  }
  void headDel(std::size_t n) { begin_ += n < size() ? n : size(); }
  // Sets the length by moving the tail.
  void sizeIs(std::size_t n) {
    MRP_ASSERT_TEXT(n <= capacity_ - begin_, "n <= capacity_ - begin_");
    end_ = begin_ + n;
  }
  void append(std::span<const std::uint8_t> octets) {
    const std::size_t old = size();
    sizeIs(old + octets.size());
    if (!octets.empty()) std::memcpy(data() + old, octets.data(), octets.size());
  }

  // The pool that takes the packet back when its last reference goes; null: it is deleted.
  void poolIs(Ptr<PktPool> pool);

 private:
  void onZeroRefs() override;

  std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t capacity_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  Ptr<PktPool> pool_;
};

// Takes back packets that are no longer referenced.
class MRP_API PktPool : public PtrInterface {
 public:
  // Takes ownership of `pkt`, whose reference count is zero.
  virtual void recycle(Pkt* pkt) = 0;
};

// The platform's packet allocator.
class MRP_API PktManager : public PtrInterface {
 public:
  // A packet of size 0 with at least the given room on both sides of its front, or null when none
  // can be had.
  virtual Ptr<Pkt> pktIs(std::size_t headRoom, std::size_t dataRoom) = 0;
};

}  // namespace Platform
