#pragma once

#include <string>

namespace Daemon {

// Keeps a bridge from relaying the protocol's frames between its ports, by a chain of nftables that
// bears the bridge's name in the table `bridge mrp`. With neither application the chain goes, and
// the table with the last one. False when nftables is not to be had; `why` says so.
bool blockRelay(const std::string& bridge, bool mvrp, bool msrp, std::string& why);

// The commands that do so, for a table whose chain is there or not.
std::string relayRules(const std::string& bridge, bool mvrp, bool msrp);

}  // namespace Daemon
