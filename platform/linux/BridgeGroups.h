#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/linux/Links.h"

namespace Platform::Linux {

// Where the bridges send frames of a VLAN to an address: entries for group addresses as the kernel
// tells of them, and entries of either kind made and removed on request.
class BridgeGroups final : private RouteEvents::Listener {
 public:
  struct Address {
    std::uint16_t vlan = 0;  // 0 in a bridge that does not filter VLANs
    EthAddr mac;

    friend auto operator<=>(const Address&, const Address&) = default;
  };

  // `links` outlives this object. A kernel whose bridges know no groups has no entries and refuses
  // every one.
  BridgeGroups(Ptr<Loop> loop, const Links& links);
  ~BridgeGroups();
  BridgeGroups(const BridgeGroups&) = delete;
  BridgeGroups& operator=(const BridgeGroups&) = delete;

  // Whether a port, by its interface index, has a permanent entry for a group address.
  bool permanent(int port, const Address& group) const;
  // How many group addresses a bridge has entries for, of any protocol.
  std::size_t groups(int bridge) const;

  // Makes a permanent entry of a port, or removes it: of the group table for a group address, else
  // a static one of the filtering database. E2BIG: the table of groups is full, and the kernel was
  // not asked, for it gives up filtering groups altogether then. EEXIST: there is one that somebody
  // else made. EBUSY: somebody else has said that an individual address is behind another port.
  std::optional<RouteError> entryIs(int port, const Address& address, bool present);

  // Notified with the index of a bridge whose groups have changed.
  Signal<int>& onGroups() { return onGroups_; }

 private:
  using Key = std::string;            // VLAN, protocol, address and source, octet by octet
  using Ports = std::map<int, bool>;  // permanent
  using Groups = std::map<Key, Ports>;

  void routeMessage(const nlmsghdr& message) override;
  void routeMessagesLost() override { reread(); }
  void reread();
  std::optional<RouteError> groupIs(int bridge, int port, const Address& group, bool present);
  std::optional<RouteError> individualIs(int port, const Address& address, bool present);
  // Index of the port behind which a static entry says that an address is; 0 without one.
  int staticPort(int bridge, const Address& address);
  static bool apply(const nlmsghdr& message, std::map<int, Groups>& bridges, int& bridge);
  static Key keyOf(const Address& group);

  Ptr<Loop> loop_;
  const Links& links_;
  RouteRequests requests_;
  std::map<int, Groups> bridges_;
  Signal<int> onGroups_;
  RouteEvents events_;
};

}  // namespace Platform::Linux
