#pragma once

#include <cstdint>
#include <set>
#include <tuple>

#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// Who may send to an address in a VLAN: of all streams that name it, the one that has done so
// longest. `Stream::ownsAddress` says it; who gains or loses it is handed to `changed`.
class AddressBook {
 public:
  template <class Changed>
  void addressIs(Stream& stream, std::uint64_t address, Changed changed) {
    if (stream.address == address) return;
    leave(stream, changed);
    stream.address = address;
    stream.addressOrder = ++order_;
    if (address == 0) return;
    stream.ownsAddress = !first(address);
    queues_.insert(&stream);
    changed(stream);
  }
  // Null when nobody names it.
  const Stream* owner(std::uint64_t address) const { return first(address); }

 private:
  struct Before {
    using is_transparent = void;
    bool operator()(const Stream* a, const Stream* b) const {
      return std::tie(a->address, a->addressOrder) < std::tie(b->address, b->addressOrder);
    }
    bool operator()(const Stream* s, std::uint64_t address) const { return s->address < address; }
    bool operator()(std::uint64_t address, const Stream* s) const { return address < s->address; }
  };

  Stream* first(std::uint64_t address) const {
    const auto found = queues_.lower_bound(address);
    return found != queues_.end() && (*found)->address == address ? *found : nullptr;
  }
  template <class Changed>
  void leave(Stream& stream, Changed changed) {
    queues_.erase(&stream);
    if (!std::exchange(stream.ownsAddress, false)) return;
    Stream* const next = first(stream.address);
    if (!next) return;
    next->ownsAddress = true;
    changed(*next);
  }

  std::set<Stream*, Before> queues_;  // one after the other, by address
  std::uint64_t order_ = 0;
};

}  // namespace Mrp::Streams
