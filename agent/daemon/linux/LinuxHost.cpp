#include "agent/daemon/linux/LinuxHost.h"

#include <fstream>

#include "agent/daemon/config/VlanRanges.h"
#include "agent/daemon/linux/Relay.h"
#include "mrp/types/Applications.h"

namespace Daemon {

namespace Kernel = Platform::Linux;

LinuxHost::LinuxHost(Ptr<Kernel::Loop> loop, const Log& log)
    : loop_(loop),
      log_(log),
      kernelLinks_(loop),
      vlans_(loop, kernelLinks_),
      streams_(loop, kernelLinks_) {
  linkReactor_.watch<&LinuxHost::handleLink>(kernelLinks_.onLink(), this);
  goneReactor_.watch<&LinuxHost::handleLinkGone>(kernelLinks_.onLinkGone(), this);
  lostReactor_.watch<&LinuxHost::handleLost>(kernelLinks_.onLost(), this);
  entriesReactor_.watch<&LinuxHost::handleEntries>(vlans_.onEntries(), this);
  refusalReactor_.watch<&LinuxHost::handleRefusal>(vlans_.onRefusal(), this);
  for (const auto& [index, link] : kernelLinks_.links()) linkIs(link);
}

LinuxHost::~LinuxHost() = default;

Ptr<Platform::PlatformServices> LinuxHost::services(Mrp::MrpApplication application) {
  Kernel::Services::Options options;
  options.etherType = Mrp::applicationInfo(application).etherType;
  options.refused = [this](const std::string& text) { log_.error(text); };
  auto made = Platform::makePtr<Kernel::Services>(loop_, std::move(options));
  services_[application] = made;
  return made;
}

Host::FrameCounters LinuxHost::frameCounters(Mrp::MrpApplication application, IntfId intf) const {
  const auto services = services_.find(application);
  const auto* pam = services == services_.end() ? nullptr : services->second->pam(intf);
  if (!pam) return {};
  FrameCounters counters{.dropped = pam->counters().dropped};
  for (const auto& [error, count] : pam->counters().sendErrors) counters.sendErrors += count;
  return counters;
}

// --- Links ---------------------------------------------------------------------------------------

void LinuxHost::linkIs(const Kernel::Link& link) {
  Link& of = links_[link.name];
  of = {.ifindex = static_cast<std::uint32_t>(link.index),
        .mac = link.mac,
        .mtu = link.mtu,
        .up = link.up,
        .bridge = {}};
  if (!link.port) return;
  if (const Kernel::Link* bridge = kernelLinks_.link(link.port->bridge)) {
    of.bridge = bridge->name;
    of.rootPort = bridge->bridge && bridge->bridge->rootPort != 0 &&
                  bridge->bridge->rootPort == link.port->number;
  }
  of.state = static_cast<PortState>(link.port->state);
}

// What a bridge says changes what its ports are: their root port, their bridge's name.
void LinuxHost::handleLink(const Kernel::Link& link) {
  linkIs(link);
  if (link.bridge) {
    for (const auto& [index, other] : kernelLinks_.links()) {
      if (other.port && other.port->bridge == link.index) linkIs(other);
    }
  }
  onChange().notify();
}

void LinuxHost::handleLinkGone(const Kernel::Link& link) {
  const auto it = links_.find(link.name);
  if (it != links_.end() && it->second.ifindex == static_cast<std::uint32_t>(link.index)) {
    links_.erase(it);
  }
  onChange().notify();
}

void LinuxHost::handleLost() {
  log_.warning("messages of the kernel were lost; everything is read anew");
  links_.clear();
  for (const auto& [index, link] : kernelLinks_.links()) linkIs(link);
  onChange().notify();
}

int LinuxHost::indexOf(const std::string& name) const {
  const auto it = links_.find(name);
  return it == links_.end() ? 0 : static_cast<int>(it->second.ifindex);
}

// --- The bridge ----------------------------------------------------------------------------------

std::optional<Host::Bridge> LinuxHost::bridge(const std::string& name) const {
  const Kernel::Link* link = kernelLinks_.link(name);
  if (!link || !link->bridge) return std::nullopt;
  return Bridge{link->mac, link->bridge->vlanFiltering};
}

Host::VlanEntries LinuxHost::vlanEntries(const std::string& link) const {
  const Kernel::VlanEntries& entries = vlans_.entries(indexOf(link));
  return {entries.all, entries.flagged, entries.untagged};
}

void LinuxHost::vlanEntriesAre(const std::string& port, const Mrp::VlanSet& vlans, bool present) {
  if (const int index = indexOf(port)) vlans_.entriesAre(index, vlans, present);
}

void LinuxHost::handleEntries(int) { onChange().notify(); }

void LinuxHost::handleRefusal(const Kernel::BridgeVlans::Refusal& refusal) {
  // Entries that went with their port need not be removed.
  if (!refusal.present && !links_.contains(refusal.interface)) return;
  log_.error("VLANs " + rangesText(refusal.vlans) + " of " + refusal.interface + " cannot be " +
             (refusal.present ? "made: " : "removed: ") + refusal.error.text);
  if (refusal.present && refused_) refused_(refusal.interface, refusal.vlans);
}

bool LinuxHost::relayBlockIs(const std::string& bridge, const std::vector<std::string>& ports,
                             bool mvrp, bool msrp, std::string& why) {
  return blockRelay(bridge, ports, mvrp, msrp, why);
}

std::string LinuxHost::bootId() const {
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::string id;
  std::getline(file, id);
  return id;
}

}  // namespace Daemon
