#pragma once

#include <string>
#include <vector>

namespace Daemon {

// Keeps a bridge from relaying the protocol's frames between its ports, by a chain of nftables that
// bears the bridge's name in the table `bridge mrp`. With neither application the chain goes, and
// the table with the last one. False when nftables is not to be had; `why` says so.
bool blockRelay(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                bool msrp, std::string& why);

// The commands that do so, whether there is such a chain or not. Ports are named one by one: not
// every kernel can tell of which bridge a port is.
std::string relayRules(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                       bool msrp);

}  // namespace Daemon
