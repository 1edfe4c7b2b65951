#include "platform/linux/Link.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <net/if_arp.h>

#include <array>
#include <cstring>
#include <string_view>

#include "platform/linux/RouteAttributes.h"

namespace Platform::Linux {
namespace {

std::uint32_t number(const nlattr* attribute) {
  switch (mnl_attr_get_payload_len(attribute)) {
    case 1:
      return mnl_attr_get_u8(attribute);
    case 2:
      return mnl_attr_get_u16(attribute);
    case 4:
      return mnl_attr_get_u32(attribute);
    default:
      return 0;
  }
}

std::string_view text(const nlattr* attribute) {
  const auto* const octets = static_cast<const char*>(mnl_attr_get_payload(attribute));
  return {octets, ::strnlen(octets, mnl_attr_get_payload_len(attribute))};
}

void parsePort(const nlattr* nest, LinkMessage& link) {
  walkNested(nest, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case IFLA_BRPORT_STATE:
        link.portState = static_cast<BridgePort::State>(number(attribute));
        break;
      case IFLA_BRPORT_NO:
        link.portNumber = static_cast<std::uint16_t>(number(attribute));
        break;
      default:
        break;
    }
  });
}

Bridge parseBridge(const nlattr* nest) {
  Bridge bridge;
  walkNested(nest, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case IFLA_BR_VLAN_FILTERING:
        bridge.vlanFiltering = number(attribute) != 0;
        break;
      case IFLA_BR_STP_STATE:
        bridge.spanningTree = number(attribute) != 0;
        break;
      case IFLA_BR_ROOT_PORT:
        bridge.rootPort = static_cast<std::uint16_t>(number(attribute));
        break;
      case IFLA_BR_MCAST_SNOOPING:
        bridge.groupFiltering = number(attribute) != 0;
        break;
      case IFLA_BR_MCAST_HASH_MAX:
        bridge.groupLimit = number(attribute);
        break;
      default:
        break;
    }
  });
  return bridge;
}

// The kinds stand in front of their data.
void parseKind(const nlattr* nest, LinkMessage& link) {
  bool isBridge = false;
  walkNested(nest, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case IFLA_INFO_KIND:
        isBridge = text(attribute) == "bridge";
        break;
      case IFLA_INFO_DATA:
        if (isBridge) link.bridge = parseBridge(attribute);
        break;
      case IFLA_INFO_SLAVE_KIND:
        link.slaveOfBridge = text(attribute) == "bridge";
        break;
      case IFLA_INFO_SLAVE_DATA:
        if (link.slaveOfBridge) parsePort(attribute, link);
        break;
      default:
        break;
    }
  });
  if (isBridge && !link.bridge) link.bridge = Bridge{};
}

}  // namespace

std::optional<LinkMessage> parseLink(const nlmsghdr& message) {
  if (message.nlmsg_type != RTM_NEWLINK && message.nlmsg_type != RTM_DELLINK) return std::nullopt;
  if (mnl_nlmsg_get_payload_len(&message) < sizeof(ifinfomsg)) return std::nullopt;
  const auto* const info = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&message));
  LinkMessage link;
  link.ofBridgeFamily = info->ifi_family == AF_BRIDGE;
  link.index = info->ifi_index;
  link.flags = info->ifi_flags;
  walkAttributes(message, sizeof *info, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case IFLA_IFNAME:
        link.name = text(attribute);
        break;
      case IFLA_MTU:
        link.mtu = number(attribute);
        break;
      case IFLA_NUM_TX_QUEUES:
        link.txQueues = number(attribute);
        break;
      case IFLA_MASTER:
        link.master = static_cast<int>(number(attribute));
        break;
      case IFLA_LINKINFO:
        parseKind(attribute, link);
        break;
      case IFLA_PROTINFO:
        if (link.ofBridgeFamily) parsePort(attribute, link);
        break;
      case IFLA_ADDRESS:
        if (std::array<std::uint8_t, 6> octets{};
            info->ifi_type == ARPHRD_ETHER &&
            mnl_attr_get_payload_len(attribute) == octets.size()) {
          std::memcpy(octets.data(), mnl_attr_get_payload(attribute), octets.size());
          link.mac = EthAddr(octets);
        }
        break;
      default:
        break;
    }
  });
  return link;
}

Stp::Role roleOf(const Link& link, const Bridge& bridge) {
  using Stp::Role;
  if (!link.port || !link.up) return Role::none;
  switch (link.port->state) {
    case BridgePort::State::forwarding:
      return bridge.rootPort != 0 && bridge.rootPort == link.port->number ? Role::root
                                                                          : Role::designated;
    case BridgePort::State::blocking:
    case BridgePort::State::listening:
    case BridgePort::State::learning:
      return Role::alternate;
    case BridgePort::State::disabled:
      return Role::none;
  }
  return Role::none;
}

}  // namespace Platform::Linux
