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
  const Ports& of(std::uint64_t address) const { return find(entries_, address); }

  // Since when frames to an address go to a port; what was closed in this settlement still counts,
  // should it be opened again. None when they do not. Valid until entries change.
  class Ages {
   public:
    Ages(const Ports& open, const Ports& closed) : open_(open), closed_(closed) {}
    std::optional<Seconds> on(const Port& port) const {
      for (const Ports* ports : {&open_, &closed_}) {
        const auto found = std::ranges::find(*ports, &port, &Opened::port);
        if (found != ports->end()) return found->since;
      }
      return std::nullopt;
    }

   private:
    const Ports& open_;
    const Ports& closed_;
  };
  Ages ages(std::uint64_t address) const { return {of(address), find(closed_, address)}; }
  std::optional<Seconds> since(std::uint64_t address, const Port& port) const {
    return ages(address).on(port);
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
  using ByAddress = std::map<std::uint64_t, Ports>;
  static const Ports& find(const ByAddress& entries, std::uint64_t address) {
    static const Ports none;
    const auto found = entries.find(address);
    return found == entries.end() ? none : found->second;
  }

  ByAddress entries_;
  ByAddress closed_;
};

}  // namespace Mrp::Streams
