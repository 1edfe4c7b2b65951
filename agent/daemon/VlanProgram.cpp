#include "agent/daemon/VlanProgram.h"

namespace Daemon {
void VlanProgram::claimsAre(const std::string& port, const Mrp::VlanSet& vlans) {
  ports_[port].owned = vlans;
}

void VlanProgram::portDel(const std::string& port) {
  const auto it = ports_.find(port);
  if (it == ports_.end()) return;
  if (!it->second.owned.empty()) claims_(port, it->second.owned, false);
  ports_.erase(it);
}

void VlanProgram::observe(const std::string& port) {
  const auto it = ports_.find(port);
  if (it == ports_.end()) return;
  Port& p = it->second;
  const Host::VlanEntries entries = host_.vlanEntries(port);
  p.asked -= entries.all;
  p.leaving = p.leaving & entries.all;
  // Gone, or somebody else's by its flags.
  const Mrp::VlanSet lost = (p.owned - entries.all - p.asked) | (p.owned & entries.flagged);
  if (lost.empty()) return;
  p.owned -= lost;
  p.asked -= lost;
  claims_(port, lost, false);
}

// A claim is noted before the entry is made and given up after it was removed, so that an agent
// that dies in between never takes somebody else's entry for its own for long.
void VlanProgram::review(const std::string& port, const Mrp::VlanSet& wanted) {
  observe(port);
  Port& p = ports_[port];
  const Mrp::VlanSet others = host_.vlanEntries(port).all - p.owned - p.leaving;
  const Mrp::VlanSet made = wanted - p.owned - others;
  const Mrp::VlanSet gone = p.owned - wanted;
  if (!gone.empty()) {
    host_.vlanEntriesAre(port, gone, false);
    p.leaving |= gone;
    p.owned -= gone;
    p.asked -= gone;
    claims_(port, gone, false);
    told_(port, gone, false);
  }
  if (!made.empty()) {
    claims_(port, made, true);
    p.owned |= made;
    p.asked |= made;
    p.leaving -= made;
    host_.vlanEntriesAre(port, made, true);
    told_(port, made, true);
  }
}

void VlanProgram::refused(const std::string& port, const Mrp::VlanSet& vlans) {
  const auto it = ports_.find(port);
  if (it == ports_.end()) return;
  const Mrp::VlanSet lost = it->second.asked & vlans;
  it->second.owned -= lost;
  it->second.asked -= lost;
  if (!lost.empty()) claims_(port, lost, false);
}

Mrp::VlanSet VlanProgram::owned(const std::string& port) const {
  const auto it = ports_.find(port);
  return it == ports_.end() ? Mrp::VlanSet() : it->second.owned;
}

Mrp::VlanSet VlanProgram::foreign(const std::string& port) const {
  const Mrp::VlanSet all = host_.vlanEntries(port).all;
  const auto it = ports_.find(port);
  return it == ports_.end() ? all : all - it->second.owned - it->second.leaving;
}

}  // namespace Daemon
