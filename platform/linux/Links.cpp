#include "platform/linux/Links.h"

#include <linux/rtnetlink.h>
#include <net/if.h>

#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace Platform::Linux {
namespace {

constexpr Seconds kBridgePeriod = 1;

}  // namespace

Links::Links(Ptr<Loop> loop)
    : loop_(std::move(loop)), bridgeTimer_(*loop_), events_(*loop_, *this, {RTNLGRP_LINK}) {
  bridgeTimer_.bind<&Links::readBridges>(this);
  reread();
}

Links::~Links() = default;

const Link* Links::link(int index) const {
  const auto it = links_.find(index);
  return it == links_.end() ? nullptr : &it->second;
}

const Link* Links::link(std::string_view name) const {
  for (const auto& [index, link] : links_) {
    if (link.name == name) return &link;
  }
  return nullptr;
}

const Bridge* Links::bridgeOf(const Link& port) const {
  const Link* const bridge = port.port ? link(port.port->bridge) : nullptr;
  return bridge && bridge->bridge ? &*bridge->bridge : nullptr;
}

// Bridges are read before their ports are told of, so that a listener finds them.
void Links::reread() {
  std::set<int> present;
  std::vector<LinkMessage> messages;
  RouteMessage request(RTM_GETLINK, 0, ifinfomsg{});
  request.put32(IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
  const auto error = requests_.dump(request, [&](const nlmsghdr& message) {
    if (auto link = parseLink(message)) messages.push_back(std::move(*link));
  });
  if (error) {
    throw std::system_error(error->code, std::generic_category(), "interfaces: " + error->text);
  }
  for (const LinkMessage& message : messages) present.insert(message.index);
  std::vector<int> gone;
  for (const auto& [index, link] : links_) {
    if (!present.contains(index)) gone.push_back(index);
  }
  for (const int index : gone) delLink(index);
  for (const bool bridges : {true, false}) {
    for (const LinkMessage& message : messages) {
      if (message.bridge.has_value() == bridges) newLink(message, false);
    }
  }
}

void Links::routeMessage(const nlmsghdr& message) {
  const auto link = parseLink(message);
  if (!link) return;
  const bool gone = message.nlmsg_type == RTM_DELLINK;
  if (link->ofBridgeFamily) {
    if (!gone) newPort(*link);
  } else if (gone) {
    delLink(link->index);
  } else {
    newLink(*link, true);
  }
}

void Links::routeMessagesLost() {
  reread();
  onLost_.notify();
}

void Links::newLink(const LinkMessage& message, bool alone) {
  if (message.name.empty()) return;  // an event of another kind
  Link now;
  now.index = message.index;
  now.name = message.name;
  now.mac = message.mac.value_or(EthAddr());
  now.mtu = message.mtu.value_or(0);
  now.txQueues = message.txQueues;
  now.up = (message.flags & IFF_UP) && (message.flags & IFF_RUNNING);
  now.bridge = message.bridge;
  if (message.slaveOfBridge && message.master != 0) {
    now.port = BridgePort{message.master, message.portState.value_or(BridgePort::State::disabled),
                          message.portNumber.value_or(0)};
  }
  const Link* const known = link(now.index);
  if (alone && now.port && (!known || known->port != now.port)) readBridge(now.port->bridge);
  linkIs(now);
}

// A port's state. Messages of this family arrive also when the port has left its bridge already;
// membership is what newLink() says.
void Links::newPort(const LinkMessage& message) {
  const Link* const known = link(message.index);
  if (!known || !known->port || known->port->bridge != message.master) return;
  Link now = *known;
  if (message.portState) now.port->state = *message.portState;
  if (message.portNumber) now.port->number = *message.portNumber;
  readBridge(message.master);
  linkIs(now);
}

void Links::delLink(int index) {
  const auto it = links_.find(index);
  if (it == links_.end()) return;
  const Link gone = std::move(it->second);
  links_.erase(it);
  onLinkGone_.notify(gone);
}

void Links::linkIs(const Link& now) {
  const Link* const known = link(now.index);
  if (known && *known == now) return;
  const bool bridgeChanged = known && known->bridge != now.bridge;
  if (known && known->name != now.name) delLink(now.index);
  links_[now.index] = now;
  onLink_.notify(now);
  if (now.bridge && now.bridge->spanningTree) bridgeTimer_.startIn(kBridgePeriod);
  if (bridgeChanged) tellPorts(now.index);
}

void Links::tellPorts(int bridge) {
  for (const auto& [index, link] : std::map(links_)) {
    if (link.port && link.port->bridge == bridge) onLink_.notify(link);
  }
}

void Links::readBridges() {
  for (const auto& [index, link] : std::map(links_)) {
    if (!link.bridge || !link.bridge->spanningTree) continue;
    bridgeTimer_.startIn(kBridgePeriod);
    readBridge(index);
  }
}

void Links::readBridge(int index) {
  const Link* const known = link(index);
  if (!known || !known->bridge) return;
  ifinfomsg info{};
  info.ifi_index = index;
  RouteMessage request(RTM_GETLINK, 0, info);
  request.put32(IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
  Link now = *known;
  const auto read = [&](const nlmsghdr& message) {
    const auto link = parseLink(message);
    if (link && link->index == index && link->bridge) now.bridge = link->bridge;
  };
  if (!requests_.request(request, read)) linkIs(now);
}

}  // namespace Platform::Linux
