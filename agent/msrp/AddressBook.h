#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

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
    if (address == 0) return;
    std::vector<Stream*>& queue = queues_[address];
    queue.push_back(&stream);
    stream.ownsAddress = queue.size() == 1;
    changed(stream);
  }
  // Null when nobody names it.
  const Stream* owner(std::uint64_t address) const {
    const auto found = queues_.find(address);
    return found == queues_.end() ? nullptr : found->second.front();
  }

 private:
  template <class Changed>
  void leave(Stream& stream, Changed changed) {
    const auto found = queues_.find(stream.address);
    if (found == queues_.end()) return;
    std::vector<Stream*>& queue = found->second;
    queue.erase(std::ranges::find(queue, &stream));
    stream.ownsAddress = false;
    if (queue.empty()) {
      queues_.erase(found);
    } else if (!queue.front()->ownsAddress) {
      queue.front()->ownsAddress = true;
      changed(*queue.front());
    }
  }

  std::map<std::uint64_t, std::vector<Stream*>> queues_;
};

}  // namespace Mrp::Streams
