#pragma once

#include <optional>

#include "mrp/MrpSm/env/Environment.h"
#include "platform/interface/IntfMap.h"
#include "platform/stp/RoleWatcher.h"

namespace Platform {
class DesiredIntfDir;
}

namespace Mrp {

class MrpLeaveAllSm;
class Service;

// Spanning-tree role tracking: a port that stops forwarding flushes what it had registered, one
// that forwards again declares anew. Only the roles of enabled ports in the instance that governs
// them count.
class StpRoles final : public Stp::RoleWatcher::Listener {
 public:
  using Role = Stp::MstiPortStatus::Role;

  // `status` may be null.
  StpRoles(const Environment& env, const Service& service, Stp::StpStatus* status)
      : env_(env), service_(service), status_(status), watcher_(*this) {}

  void watch() {
    if (status_) watcher_.watch(*status_);
  }
  // The ports that are enabled; null while the engine is being built.
  void desiredAre(const Platform::DesiredIntfDir* desired) { desired_ = desired; }
  // Who is told; null in standby, when roles are only noted.
  void leaveAllIs(MrpLeaveAllSm* leaveAll) { leaveAll_ = leaveAll; }

  void handleRole(const std::string& stpi, const std::string& msti, const std::string& port,
                  Role role) override;
  // The same with the role that the status shows.
  void handleRole(const std::string& stpi, const std::string& msti, const std::string& port);
  std::optional<Role> oldPortRole(IntfId intf) const;

 private:
  const Environment& env_;
  const Service& service_;
  Stp::StpStatus* status_;
  const Platform::DesiredIntfDir* desired_ = nullptr;
  MrpLeaveAllSm* leaveAll_ = nullptr;
  Platform::IntfMap<Role> oldPortRole_;
  Stp::RoleWatcher watcher_;
};

}  // namespace Mrp
