#include "agent/daemon/linux/ClassRules.h"

#include "agent/daemon/linux/Nft.h"

namespace Daemon {
namespace {

// After the relay is blocked.
constexpr int kPriority = -150;

std::string classChain(const std::string& bridge) { return chainOf(bridge) + "/classes"; }

}  // namespace

std::string classRules(const std::string& bridge, const StreamHost::ClassPorts& ports) {
  std::string rules;
  for (const auto& [srClass, names] : ports) {
    const std::string set = setOf(names);
    if (set.empty()) continue;
    const std::string priority = std::to_string(Mrp::infoOf(srClass).priority);
    rules += "add rule bridge mrp " + classChain(bridge) + " iifname " + set + " vlan pcp " +
             priority + " meta priority set 0:" + priority + "\n";
  }
  return rules.empty() ? rules : emptyChain(classChain(bridge), kPriority) + rules;
}

bool tellClasses(const std::string& bridge, const StreamHost::ClassPorts& ports, std::string& why) {
  Nft nft;
  const std::string rules = classRules(bridge, ports);
  return rules.empty() ? nft.chainDel(classChain(bridge), why) : nft.run(rules, why);
}

}  // namespace Daemon
