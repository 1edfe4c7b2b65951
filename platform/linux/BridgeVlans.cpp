#include "platform/linux/BridgeVlans.h"

#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/linux/RouteAttributes.h"

namespace Platform::Linux {
namespace {

constexpr std::uint16_t kFlags = BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED;

// Takes over what an entry of a notification says of its VLANs.
void applyEntry(const nlattr* nest, bool present, VlanEntries& entries) {
  bridge_vlan_info info{};
  std::uint16_t last = 0;
  walkNested(nest, [&](const nlattr* attribute) {
    const std::size_t size = mnl_attr_get_payload_len(attribute);
    switch (mnl_attr_get_type(attribute)) {
      case BRIDGE_VLANDB_ENTRY_INFO:
        if (size >= sizeof info) std::memcpy(&info, mnl_attr_get_payload(attribute), sizeof info);
        break;
      case BRIDGE_VLANDB_ENTRY_RANGE:
        if (size == sizeof last) last = mnl_attr_get_u16(attribute);
        break;
      default:
        break;
    }
  });
  last = std::max(last, info.vid);
  for (std::uint32_t vlan = info.vid; vlan <= last; ++vlan) {
    const auto v = static_cast<std::uint16_t>(vlan);
    entries.all.put(v, present);
    entries.flagged.put(v, present && (info.flags & kFlags) != 0);
    entries.untagged.put(v, present && (info.flags & BRIDGE_VLAN_INFO_UNTAGGED) != 0);
  }
}

// Takes over a message about entries. True when it changed those of the interface `index`.
bool apply(const nlmsghdr& message, std::map<int, VlanEntries>& entries, int& index) {
  if (message.nlmsg_type != RTM_NEWVLAN && message.nlmsg_type != RTM_DELVLAN) return false;
  if (mnl_nlmsg_get_payload_len(&message) < sizeof(br_vlan_msg)) return false;
  const auto* const header = static_cast<const br_vlan_msg*>(mnl_nlmsg_get_payload(&message));
  index = static_cast<int>(header->ifindex);
  VlanEntries& of = entries[index];
  const VlanEntries before = of;
  walkAttributes(message, sizeof *header, [&](const nlattr* attribute) {
    if (mnl_attr_get_type(attribute) != BRIDGE_VLANDB_ENTRY) return;
    applyEntry(attribute, message.nlmsg_type == RTM_NEWVLAN, of);
  });
  return of != before;
}

// Consecutive members as ranges.
void putRanges(RouteMessage& message, const VlanSet& vlans) {
  const auto put = [&](std::uint16_t vlan, std::uint16_t flags) {
    const bridge_vlan_info info{flags, vlan};
    message.put(IFLA_BRIDGE_VLAN_INFO, &info, sizeof info);
  };
  vlans.walk([&](std::uint16_t vlan) {
    const bool first = !vlans.has(static_cast<std::uint16_t>(vlan - 1));
    const bool last = !vlans.has(static_cast<std::uint16_t>(vlan + 1));
    if (first && last) {
      put(vlan, 0);
    } else if (first) {
      put(vlan, BRIDGE_VLAN_INFO_RANGE_BEGIN);
    } else if (last) {
      put(vlan, BRIDGE_VLAN_INFO_RANGE_END);
    }
  });
}

}  // namespace

BridgeVlans::BridgeVlans(Ptr<Loop> loop, const Links& links)
    : loop_(std::move(loop)),
      links_(links),
      endOfTurn_(*loop_),
      events_(*loop_, *this, {RTNLGRP_BRVLAN}) {
  endOfTurn_.bind<&BridgeVlans::flush>(this);
  reread();
}

BridgeVlans::~BridgeVlans() = default;

const VlanEntries& BridgeVlans::entries(int index) const {
  static const VlanEntries kNone;
  const auto it = entries_.find(index);
  return it == entries_.end() ? kNone : it->second;
}

void BridgeVlans::entriesAre(int index, const VlanSet& vlans, bool present) {
  Wish& wish = wishes_[index];
  (present ? wish.present : wish.absent) |= vlans;
  (present ? wish.absent : wish.present) -= vlans;
  endOfTurn_.ask();
}

void BridgeVlans::flush() {
  for (const auto& [index, wish] : std::exchange(wishes_, {})) {
    request(index, wish.absent, false);
    request(index, wish.present, true);
  }
}

// The kernel stops at the first entry that it refuses, and tells of those before it.
void BridgeVlans::request(int index, const VlanSet& vlans, bool present) {
  if (vlans.empty()) return;
  ifinfomsg info{};
  info.ifi_family = AF_BRIDGE;
  info.ifi_index = index;
  RouteMessage message(present ? RTM_SETLINK : RTM_DELLINK, 0, info);
  nlattr* const nest = message.nest(IFLA_AF_SPEC);
  putRanges(message, vlans);
  message.nestEnd(nest);
  const auto error = requests_.request(message);
  if (!error) return;
  const Link* const link = links_.link(index);
  const std::string name = link ? link->name : "interface " + std::to_string(index);
  onRefusal_.notify({name, vlans, present, *error});
}

void BridgeVlans::routeMessage(const nlmsghdr& message) {
  int index = 0;
  const bool changed = apply(message, entries_, index);
  if (entries(index).all.empty()) entries_.erase(index);  // perhaps the interface has gone
  if (changed) onEntries_.notify(index);
}

void BridgeVlans::reread() {
  br_vlan_msg header{};
  header.family = AF_BRIDGE;
  RouteMessage request(RTM_GETVLAN, 0, header);
  std::map<int, VlanEntries> now;
  const auto error = requests_.dump(request, [&](const nlmsghdr& message) {
    int of = 0;
    apply(message, now, of);
  });
  if (error && error->code != EOPNOTSUPP) {
    throw std::system_error(error->code, std::generic_category(), "VLAN entries: " + error->text);
  }
  std::map<int, VlanEntries> before = std::exchange(entries_, now);
  for (const auto& [of, entries] : now) before.try_emplace(of);
  for (const auto& [of, entries] : before) {
    if (this->entries(of) != entries) onEntries_.notify(of);
  }
}

}  // namespace Platform::Linux
