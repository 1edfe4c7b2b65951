#pragma once

#include <functional>
#include <map>
#include <string>

#include "agent/daemon/Host.h"

namespace Daemon {

// The agent's VLAN entries in the kernel's bridge, apart from those that somebody else made. An
// entry is the agent's from the moment it asks for it until it is gone or somebody changes its
// flags.
class VlanProgram {
 public:
  // `claims` is told what becomes the agent's and what ceases to be; `told` what is programmed.
  using Change = std::function<void(const std::string& port, const Mrp::VlanSet& vlans, bool on)>;

  VlanProgram(Host& host, Change claims, Change told)
      : host_(host), claims_(std::move(claims)), told_(std::move(told)) {}

  // Entries known from an earlier life to be the agent's.
  void claimsAre(const std::string& port, const Mrp::VlanSet& vlans);
  // A port that has left the bridge took its entries along.
  void portDel(const std::string& port);

  // Makes the port's entries those that are wanted, as far as they are not somebody else's.
  void review(const std::string& port, const Mrp::VlanSet& wanted);
  // Sees what the kernel has now, so that foreign() is right.
  void observe(const std::string& port);
  // The host could not make these.
  void refused(const std::string& port, const Mrp::VlanSet& vlans);

  // The agent's entries, and those of others.
  Mrp::VlanSet owned(const std::string& port) const;
  Mrp::VlanSet foreign(const std::string& port) const;

 private:
  struct Port {
    Mrp::VlanSet owned;
    Mrp::VlanSet asked;    // not seen in the kernel yet
    Mrp::VlanSet leaving;  // removed, and still seen there
  };

  Host& host_;
  Change claims_;
  Change told_;
  std::map<std::string, Port> ports_;
};

}  // namespace Daemon
