#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/bridge/VlanSet.h"

// What travels through the attribute log: one message is a sequence of entries.
namespace Daemon {

struct Entry {
  enum class Kind : std::uint8_t {
    record = 1,       // stands for what is committed; neither declared nor registered: it is gone
    claim = 2,        // VLAN entries of the kernel's bridge that are the agent's
    claimsGone = 3,   // the same, given up
    text = 4,         // a named text
    clear = 5,        // forget everything: a snapshot follows
    end = 6,          // of the snapshot, which is written as one
    streamClaim = 7,  // entry for a stream on a port, or its queues (key 0), that is the agent's
    streamClaimGone = 8,  // the same, given up
  };

  Kind kind = Kind::clear;
  std::uint8_t application = 0;
  std::uint8_t type = 0;
  bool declared = false;
  bool registered = false;
  std::uint32_t ifindex = 0;
  std::uint64_t key = 0;
  std::string name{};                  // of the port, or of the text
  std::vector<std::uint8_t> octets{};  // value of the record, VLANs, or the text

  bool present() const { return declared || registered; }
  friend bool operator==(const Entry&, const Entry&) = default;
};

void append(std::vector<std::uint8_t>& message, const Entry& entry);
// Takes the next entry off the front; none when the rest is no whole entry.
std::optional<Entry> take(std::span<const std::uint8_t>& message);

// A set of VLANs in 512 octets.
std::vector<std::uint8_t> octetsOf(const Mrp::VlanSet& vlans);
Mrp::VlanSet vlansOf(std::span<const std::uint8_t> octets);

}  // namespace Daemon
