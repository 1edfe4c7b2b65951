#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// The reservation entries of the switch, as it was told them: where frames of a VLAN to an address
// go, and since when.
class Entries {
 public:
  struct Opened {
    const Port* port;
    Seconds since;
  };
  using Ports = std::vector<Opened>;  // by Port::index

  const std::map<std::uint64_t, Ports>& all() const { return entries_; }
  const Ports& of(std::uint64_t address) const {
    static const Ports none;
    const auto found = entries_.find(address);
    return found == entries_.end() ? none : found->second;
  }

  // Since when frames to the address go to the port; what was closed in this settlement still
  // counts, should it be opened again. None when they do not.
  std::optional<Seconds> since(std::uint64_t address, const Port& port) const {
    for (const Ports* ports : {&of(address), closedOf(address)}) {
      if (!ports) continue;
      const auto found = std::ranges::find(*ports, &port, &Opened::port);
      if (found != ports->end()) return found->since;
    }
    return std::nullopt;
  }
  void entryIs(std::uint64_t address, Ports ports) {
    for (const Opened& opened : of(address)) {
      if (std::ranges::find(ports, opened.port, &Opened::port) == ports.end()) {
        closed_[address].push_back(opened);
      }
    }
    if (ports.empty()) {
      entries_.erase(address);
    } else {
      entries_[address] = std::move(ports);
    }
  }
  void settled() { closed_.clear(); }

 private:
  const Ports* closedOf(std::uint64_t address) const {
    const auto found = closed_.find(address);
    return found == closed_.end() ? nullptr : &found->second;
  }

  std::map<std::uint64_t, Ports> entries_;
  std::map<std::uint64_t, Ports> closed_;
};

}  // namespace Mrp::Streams
