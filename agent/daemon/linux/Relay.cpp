#include "agent/daemon/linux/Relay.h"

#include "agent/daemon/linux/Nft.h"

namespace Daemon {
namespace {

constexpr int kPriority = -200;

}  // namespace

// A tag stands in the frame, or a device took it out: nft sees it there in either case.
std::string relayRules(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                       bool msrp) {
  const std::string chain = "bridge mrp " + chainOf(bridge);
  std::string rules = emptyChain(chainOf(bridge), kPriority);
  const std::string set = setOf(ports);
  if (set.empty()) return rules;
  const std::string rule = "add rule " + chain + " iifname " + set;
  if (mvrp) rules += rule + " ether daddr 01:80:c2:00:00:21 drop\n";
  if (msrp) {
    const std::string address = rule + " ether daddr 01:80:c2:00:00:0e ";
    rules += address + "ether type 0x22ea drop\n";
    rules += address + "vlan type 0x22ea drop\n";
    rules += address + "ether type 8021ad vlan type 0x22ea drop\n";
  }
  return rules;
}

bool blockRelay(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                bool msrp, std::string& why) {
  Nft nft;
  if (mvrp || msrp) return nft.run(relayRules(bridge, ports, mvrp, msrp), why);
  return nft.chainDel(chainOf(bridge), why);
}

}  // namespace Daemon
