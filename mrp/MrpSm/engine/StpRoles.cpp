// Spanning-tree role tracking: a port that stops forwarding flushes what it had registered, one
// that forwards again declares anew.

#include <utility>

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/engine/StpWatchers.h"

namespace Mrp {
namespace {

using Role = Stp::MstiPortStatus::Role;

bool forwarding(Role role) { return role == Role::root || role == Role::designated; }

}  // namespace

MstiPortStatusSm::MstiPortStatusSm(StpPath path, Stp::MstiPortStatus& status)
    : path_(std::move(path)), status_(&status) {
  roleReactor_.watch<&MstiPortStatusSm::handleRole>(status.onRole(), this);
  handleRole();
}

void MstiPortStatusSm::handleRole() {
  path_.mrpSm->handleRole(path_.names[0], path_.names[1], path_.names[2]);
}

void MrpSm::handleRole(const std::string& stpiName, const std::string& mstiName,
                       const std::string& intfName) {
  const IntfId intf(intfName);
  if (!desiredIntfDir_) return;  // the engine is being built, no port is enabled yet
  if (mrpLib_->baseSpanningTreeTopo(intf) != mstiName) return;
  if (!desiredIntfDir_->intfDesired(intf)) return;
  MRP_TRACE(trace(), 8,
            "MrpSm::handleRole( " << stpiName << ", " << mstiName << ", " << intfName << " )");
  const Role newRole = portRole(stpiName, mstiName, intfName);
  Role& stored = oldPortRole_.is(intf, Role::none);
  const Role oldRole = std::exchange(stored, newRole);
  if (standbyMode_ || newRole == oldRole) return;
  MRP_TRACE(trace(), 6,
            "Port role for " << intf << " changed from " << static_cast<std::uint32_t>(oldRole)
                             << " to " << static_cast<std::uint32_t>(newRole));
  if (forwarding(oldRole) && newRole == Role::alternate) {
    MRP_TRACE(trace(), 6, "Flush! event occurred");
    postToAllTypes(intf, MrpApplicantEvent::flush, MrpRegistrarEvent::flush);
  }
  if (oldRole == Role::alternate && forwarding(newRole)) {
    MRP_TRACE(trace(), 6, "Re-declare! event occurred");
    postToAllTypes(intf, MrpApplicantEvent::reDeclare, MrpRegistrarEvent::reDeclare);
  }
}

Role MrpSm::portRole(const std::string& stpiName, const std::string& mstiName,
                     const std::string& intfName) const {
  const Stp::StpiStatus* stpi = stpStatus_ ? stpStatus_->child(stpiName) : nullptr;
  const Stp::MstiStatus* msti = stpi ? stpi->child(mstiName) : nullptr;
  const Stp::MstiPortStatus* port = msti ? msti->child(intfName) : nullptr;
  return port ? port->role() : Role::none;
}

void MrpSm::postToAllTypes(IntfId intf, MrpApplicantEvent applicantEvent,
                           MrpRegistrarEvent registrarEvent) {
  for (std::uint8_t type = 1; type <= maxAttrTypes_; ++type) {
    leaveAllSm_->mrpPostLeaveAllToSm(intf, type, applicantEvent, registrarEvent);
  }
}

}  // namespace Mrp
