#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/packet/EthAddr.h"
#include "platform/stp/StpStatus.h"

struct nlmsghdr;

namespace Platform::Linux {

// What a bridge knows of one of its ports.
struct BridgePort {
  // State of a port (IEEE 802.1D-2004 7.4), numbered as the kernel does.
  enum class State : std::uint8_t { disabled, listening, learning, forwarding, blocking };

  int bridge = 0;  // interface index
  State state = State::disabled;
  std::uint16_t number = 0;

  friend bool operator==(const BridgePort&, const BridgePort&) = default;
};

struct Bridge {
  bool vlanFiltering = false;
  bool spanningTree = false;   // runs one, of the kernel's or of a process
  std::uint16_t rootPort = 0;  // number of the port towards the root; 0: none
  // Group addresses go where they are registered, not everywhere. Otherwise it has no entries for
  // them that count.
  bool groupFiltering = true;
  std::uint32_t groupLimit = 4096;  // of entries of group addresses

  friend bool operator==(const Bridge&, const Bridge&) = default;
};

// A network interface of the host.
struct Link {
  int index = 0;
  std::string name;
  EthAddr mac;  // of an Ethernet interface; zero for others
  std::uint32_t mtu = 0;
  std::uint32_t txQueues = 1;
  bool up = false;                 // switched on, with carrier
  std::optional<BridgePort> port;  // when it is a port of a bridge
  std::optional<Bridge> bridge;    // when it is one

  friend bool operator==(const Link&, const Link&) = default;
};

// What one message of the kernel says of an interface; what it does not mention is none.
struct LinkMessage {
  // A bridge tells of its ports in messages of its own family, which know less of the interface.
  bool ofBridgeFamily = false;
  int index = 0;
  std::uint32_t flags = 0;
  std::string name;
  std::optional<EthAddr> mac;
  std::optional<std::uint32_t> mtu;
  std::uint32_t txQueues = 1;
  int master = 0;
  bool slaveOfBridge = false;
  std::optional<BridgePort::State> portState;
  std::optional<std::uint16_t> portNumber;
  std::optional<Bridge> bridge;
};

// None when it is no message of an interface, or one that is cut off.
std::optional<LinkMessage> parseLink(const nlmsghdr& message);

// Role of a port in the tree of its bridge, as far as the kernel knows it: root, designated,
// alternate, or none while it is disabled or without carrier. `bridge` is that of the port.
Stp::Role roleOf(const Link& link, const Bridge& bridge);

}  // namespace Platform::Linux
