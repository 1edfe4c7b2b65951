#include "platform/linux/BridgeGroups.h"

#include <linux/if_bridge.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/linux/RouteAttributes.h"

namespace Platform::Linux {
namespace {

RouteError errorOf(int code) { return {code, std::generic_category().message(code)}; }

void append(std::string& key, const void* octets, std::size_t size) {
  key.append(static_cast<const char*>(octets), size);
}

}  // namespace

BridgeGroups::BridgeGroups(Ptr<Loop> loop, const Links& links)
    : loop_(std::move(loop)), links_(links), events_(*loop_, *this, {RTNLGRP_MDB}) {
  reread();
}

BridgeGroups::~BridgeGroups() = default;

// As the octets of an entry of the kernel stand, which has no source.
BridgeGroups::Key BridgeGroups::keyOf(const Address& group) {
  br_mdb_entry entry{};
  const auto octets = group.mac.octets();
  std::memcpy(entry.addr.u.mac_addr, octets.data(), octets.size());
  Key key;
  append(key, &group.vlan, sizeof group.vlan);
  append(key, &entry.addr, sizeof entry.addr);
  return key;
}

bool BridgeGroups::permanent(int port, const Address& group) const {
  const Link* const link = links_.link(port);
  const auto bridge = link && link->port ? bridges_.find(link->port->bridge) : bridges_.end();
  if (bridge == bridges_.end()) return false;
  const auto ports = bridge->second.find(keyOf(group));
  if (ports == bridge->second.end()) return false;
  const auto entry = ports->second.find(port);
  return entry != ports->second.end() && entry->second;
}

std::size_t BridgeGroups::groups(int bridge) const {
  const auto found = bridges_.find(bridge);
  return found == bridges_.end() ? 0 : found->second.size();
}

// --- What the kernel tells -----------------------------------------------------------------------

// True when the message changed something of the bridge `bridge`.
bool BridgeGroups::apply(const nlmsghdr& message, std::map<int, Groups>& bridges, int& bridge) {
  const bool present = message.nlmsg_type == RTM_NEWMDB || message.nlmsg_type == RTM_GETMDB;
  if (!present && message.nlmsg_type != RTM_DELMDB) return false;
  if (mnl_nlmsg_get_payload_len(&message) < sizeof(br_port_msg)) return false;
  const auto* const header = static_cast<const br_port_msg*>(mnl_nlmsg_get_payload(&message));
  bridge = static_cast<int>(header->ifindex);
  Groups& groups = bridges[bridge];
  bool changed = false;
  const auto applyInfo = [&](const nlattr* info) {
    br_mdb_entry entry{};
    const std::size_t size = mnl_attr_get_payload_len(info);
    if (size < sizeof entry) return;
    std::memcpy(&entry, mnl_attr_get_payload(info), sizeof entry);
    Key key;
    append(key, &entry.vid, sizeof entry.vid);
    append(key, &entry.addr, sizeof entry.addr);
    static_assert(sizeof entry % MNL_ALIGNTO == 0);
    const auto* const rest = static_cast<const char*>(mnl_attr_get_payload(info)) + sizeof entry;
    if (size > sizeof entry) {
      walkAttributes(rest, size - sizeof entry, [&](const nlattr* attribute) {
        if (mnl_attr_get_type(attribute) != MDBA_MDB_EATTR_SOURCE) return;
        append(key, mnl_attr_get_payload(attribute), mnl_attr_get_payload_len(attribute));
      });
    }
    const int port = static_cast<int>(entry.ifindex);
    if (present) {
      groups[key][port] = entry.state == MDB_PERMANENT;
      changed = true;
    } else if (const auto found = groups.find(key); found != groups.end()) {
      changed |= found->second.erase(port) > 0;
      if (found->second.empty()) groups.erase(found);
    }
  };
  walkAttributes(message, sizeof *header, [&](const nlattr* table) {
    if (mnl_attr_get_type(table) != MDBA_MDB) return;
    walkNested(table, [&](const nlattr* entry) {
      if (mnl_attr_get_type(entry) != MDBA_MDB_ENTRY) return;
      walkNested(entry, [&](const nlattr* info) {
        if (mnl_attr_get_type(info) == MDBA_MDB_ENTRY_INFO) applyInfo(info);
      });
    });
  });
  if (groups.empty()) bridges.erase(bridge);
  return changed;
}

void BridgeGroups::routeMessage(const nlmsghdr& message) {
  int bridge = 0;
  if (apply(message, bridges_, bridge)) onGroups_.notify(bridge);
}

void BridgeGroups::reread() {
  br_port_msg header{};
  header.family = AF_BRIDGE;
  RouteMessage request(RTM_GETMDB, 0, header);
  std::map<int, Groups> now;
  // A kernel that has no groups gives none.
  requests_.dump(request, [&](const nlmsghdr& message) {
    int of = 0;
    apply(message, now, of);
  });
  std::map<int, Groups> before = std::exchange(bridges_, now);
  for (const auto& [of, groups] : now) before.try_emplace(of);
  for (const auto& [of, groups] : before) onGroups_.notify(of);
}

// --- What the kernel is asked --------------------------------------------------------------------

std::optional<RouteError> BridgeGroups::entryIs(int port, const Address& address, bool present) {
  const Link* const link = links_.link(port);
  if (!link || !link->port) return errorOf(ENODEV);
  constexpr std::uint8_t kGroupBit = 1;
  const bool isGroup = (address.mac.octets()[0] & kGroupBit) != 0;
  return isGroup ? groupIs(link->port->bridge, port, address, present)
                 : individualIs(port, address, present);
}

std::optional<RouteError> BridgeGroups::groupIs(int bridge, int port, const Address& group,
                                                bool present) {
  const Link* const link = links_.link(bridge);
  const Key key = keyOf(group);
  if (present && link && link->bridge) {
    if (!link->bridge->groupFiltering) {
      return RouteError{EINVAL, "the bridge does not filter group addresses (mcast_snooping)"};
    }
    const bool known = bridges_.contains(bridge) && bridges_[bridge].contains(key);
    if (!known && groups(bridge) >= link->bridge->groupLimit) return errorOf(E2BIG);
  }
  br_port_msg header{};
  header.family = AF_BRIDGE;
  header.ifindex = static_cast<std::uint32_t>(bridge);
  const std::uint16_t flags = present ? NLM_F_CREATE | NLM_F_EXCL : 0;
  RouteMessage message(present ? RTM_NEWMDB : RTM_DELMDB, flags, header);
  br_mdb_entry entry{};
  entry.ifindex = static_cast<std::uint32_t>(port);
  entry.state = MDB_PERMANENT;
  entry.vid = group.vlan;
  const auto octets = group.mac.octets();
  std::memcpy(entry.addr.u.mac_addr, octets.data(), octets.size());
  message.put(MDBA_SET_ENTRY, &entry, sizeof entry);
  if (auto error = requests_.request(message)) return error;
  if (present) {
    bridges_[bridge][key][port] = true;
  } else if (bridges_.contains(bridge) && bridges_[bridge].contains(key)) {
    bridges_[bridge][key].erase(port);
    if (bridges_[bridge][key].empty()) bridges_[bridge].erase(key);
  }
  return std::nullopt;
}

namespace {

RouteMessage neighbour(std::uint16_t type, std::uint16_t flags, int port,
                       const BridgeGroups::Address& address) {
  ndmsg header{};
  header.ndm_family = AF_BRIDGE;
  header.ndm_ifindex = port;
  header.ndm_flags = NTF_MASTER;
  header.ndm_state = NUD_NOARP;
  RouteMessage message(type, flags, header);
  const auto octets = address.mac.octets();
  message.put(NDA_LLADDR, octets.data(), octets.size());
  if (address.vlan != 0) message.put(NDA_VLAN, &address.vlan, sizeof address.vlan);
  return message;
}

}  // namespace

// What the bridge has learned about the address gives way.
std::optional<RouteError> BridgeGroups::individualIs(int port, const Address& address,
                                                     bool present) {
  if (!present) {
    RouteMessage message = neighbour(RTM_DELNEIGH, 0, port, address);
    return requests_.request(message);
  }
  RouteMessage message = neighbour(RTM_NEWNEIGH, NLM_F_CREATE | NLM_F_EXCL, port, address);
  auto error = requests_.request(message);
  if (!error || error->code != EEXIST) return error;
  const Link* const link = links_.link(port);
  const int other = link && link->port ? staticPort(link->port->bridge, address) : 0;
  if (other == port) return error;
  if (other != 0) return RouteError{EBUSY, "somebody else has put the address behind another port"};
  RouteMessage replace = neighbour(RTM_NEWNEIGH, NLM_F_CREATE | NLM_F_REPLACE, port, address);
  return requests_.request(replace);
}

int BridgeGroups::staticPort(int bridge, const Address& address) {
  ndmsg header{};
  header.ndm_family = AF_BRIDGE;
  RouteMessage message(RTM_GETNEIGH, 0, header);
  const auto octets = address.mac.octets();
  message.put(NDA_LLADDR, octets.data(), octets.size());
  message.put32(NDA_MASTER, static_cast<std::uint32_t>(bridge));
  if (address.vlan != 0) message.put(NDA_VLAN, &address.vlan, sizeof address.vlan);
  int port = 0;
  requests_.request(message, [&](const nlmsghdr& answer) {
    if (answer.nlmsg_type != RTM_NEWNEIGH || mnl_nlmsg_get_payload_len(&answer) < sizeof(ndmsg)) {
      return;
    }
    const auto* const entry = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(&answer));
    if (entry->ndm_state & (NUD_NOARP | NUD_PERMANENT)) port = entry->ndm_ifindex;
  });
  return port;
}

}  // namespace Platform::Linux
