#pragma once

#include <map>
#include <string_view>

#include "platform/linux/Link.h"
#include "platform/linux/RouteSocket.h"
#include "platform/reactor/Signal.h"

namespace Platform::Linux {

// The network interfaces of this process's network namespace, kept up to date by route netlink:
// presence, name, address, MTU, carrier, membership of a bridge and state in it.
class Links final : private RouteEvents::Listener {
 public:
  // Throws std::system_error when the kernel cannot be asked.
  explicit Links(Ptr<Loop> loop);
  ~Links();
  Links(const Links&) = delete;
  Links& operator=(const Links&) = delete;

  // By index.
  const std::map<int, Link>& links() const { return links_; }
  // Null when there is none.
  const Link* link(int index) const;
  const Link* link(std::string_view name) const;
  // What the bridge of a port knows; null for an interface that is no port.
  const Bridge* bridgeOf(const Link& port) const;

  // Notified when an interface has appeared or something of it has changed, or of the bridge that
  // it is a port of.
  Signal<const Link&>& onLink() { return onLink_; }
  // Notified when an interface has gone, as it was last. A renamed one goes under its old name and
  // then appears.
  Signal<const Link&>& onLinkGone() { return onLinkGone_; }
  // Notified when messages of the kernel were lost, after everything has been read anew.
  Signal<>& onLost() { return onLost_; }

  // Reads everything anew.
  void reread();

 private:
  void routeMessage(const nlmsghdr& message) override;
  void routeMessagesLost() override;
  // `alone`: not one of all, in which its bridge stands as well.
  void newLink(const LinkMessage& message, bool alone);
  void newPort(const LinkMessage& message);
  void delLink(int index);
  void linkIs(const Link& link);
  void tellPorts(int bridge);
  // The kernel tells of no new root port of a bridge, only of the states that may follow. So a
  // bridge is read when a port of it changes and, while it runs a spanning tree, once a second.
  void readBridge(int index);
  void readBridges();

  Ptr<Loop> loop_;
  RouteRequests requests_;
  std::map<int, Link> links_;
  Signal<const Link&> onLink_;
  Signal<const Link&> onLinkGone_;
  Signal<> onLost_;
  LoopTimer bridgeTimer_;
  RouteEvents events_;
};

}  // namespace Platform::Linux
