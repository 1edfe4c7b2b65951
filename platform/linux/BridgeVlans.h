#pragma once

#include <map>
#include <string>

#include "platform/bridging/VlanSet.h"
#include "platform/linux/Links.h"

namespace Platform::Linux {

// The VLANs that a port of a bridge, or the bridge itself, is a member of.
struct VlanEntries {
  VlanSet all;
  VlanSet flagged;   // those of them that are the PVID or leave untagged
  VlanSet untagged;  // those of them that leave untagged

  friend bool operator==(const VlanEntries&, const VlanEntries&) = default;
};

// The VLAN entries of all bridges: seen as the kernel tells of them, and changed on request. What
// is asked for in one turn of the loop goes out at its end, consecutive VLANs as ranges, one
// message a port and direction.
class BridgeVlans final : private RouteEvents::Listener {
 public:
  // A change that the kernel did not make.
  struct Refusal {
    std::string interface;
    VlanSet vlans;
    bool present = false;  // what was asked for
    RouteError error;
  };

  // `links` outlives this object. A kernel that knows no VLANs of bridges has no entries and
  // refuses every change.
  BridgeVlans(Ptr<Loop> loop, const Links& links);
  ~BridgeVlans();
  BridgeVlans(const BridgeVlans&) = delete;
  BridgeVlans& operator=(const BridgeVlans&) = delete;

  // Of an interface by its index; none for one that is not known.
  const VlanEntries& entries(int index) const;

  // Makes plain tagged entries of a port, or removes them. Of two opposite wishes in one turn the
  // later one counts. Entries that are there already, or are not, are asked for all the same.
  void entriesAre(int index, const VlanSet& vlans, bool present);
  // Asks the kernel now for what has been asked of us.
  void flush();

  // Notified with the index of an interface whose entries have changed, for whatever reason.
  Signal<int>& onEntries() { return onEntries_; }
  Signal<const Refusal&>& onRefusal() { return onRefusal_; }

 private:
  struct Wish {
    VlanSet present;
    VlanSet absent;
  };

  void routeMessage(const nlmsghdr& message) override;
  void routeMessagesLost() override { reread(); }
  void reread();
  void request(int index, const VlanSet& vlans, bool present);

  Ptr<Loop> loop_;
  const Links& links_;
  RouteRequests requests_;
  std::map<int, VlanEntries> entries_;
  std::map<int, Wish> wishes_;
  EndOfTurn endOfTurn_;
  Signal<int> onEntries_;
  Signal<const Refusal&> onRefusal_;
  RouteEvents events_;
};

}  // namespace Platform::Linux
