#include "mrp/MrpSm/engine/StpRoles.h"

#include <utility>

#include "mrp/MrpSm/service/Service.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "platform/packet/PamDirs.h"

namespace Mrp {
namespace {

using Role = StpRoles::Role;

bool forwarding(Role role) { return role == Role::root || role == Role::designated; }

}  // namespace

void StpRoles::handleRole(const std::string& stpi, const std::string& msti,
                          const std::string& port) {
  const Stp::StpiStatus* instance = status_ ? status_->child(stpi) : nullptr;
  const Stp::MstiStatus* tree = instance ? instance->child(msti) : nullptr;
  const Stp::MstiPortStatus* status = tree ? tree->child(port) : nullptr;
  handleRole(stpi, msti, port, status ? status->role() : Role::none);
}

void StpRoles::handleRole(const std::string& stpi, const std::string& msti, const std::string& port,
                          Role newRole) {
  const IntfId intf(port);
  if (!desired_) return;
  if (service_.baseSpanningTreeTopo(intf) != msti) return;
  if (!desired_->intfDesired(intf)) return;
  MRP_TRACE(env_.trace, 8, "MrpSm::handleRole( " << stpi << ", " << msti << ", " << port);
  Role& stored = oldPortRole_.is(intf, Role::none);
  const Role oldRole = std::exchange(stored, newRole);
  if (!leaveAll_ || newRole == oldRole) return;
  MRP_TRACE(env_.trace, 6,
            "Port role for " << intf << " changed from " << static_cast<std::uint32_t>(oldRole)
                             << " to " << static_cast<std::uint32_t>(newRole));
  if (forwarding(oldRole) && newRole == Role::alternate) {
    MRP_TRACE(env_.trace, 6, "Flush! event occurred");
    leaveAll_->postToAllTypes(intf, MrpApplicantEvent::flush, MrpRegistrarEvent::flush);
  }
  if (oldRole == Role::alternate && forwarding(newRole)) {
    MRP_TRACE(env_.trace, 6, "Re-declare! event occurred");
    leaveAll_->postToAllTypes(intf, MrpApplicantEvent::reDeclare, MrpRegistrarEvent::reDeclare);
  }
}

std::optional<Role> StpRoles::oldPortRole(IntfId intf) const {
  const Role* role = oldPortRole_.find(intf);
  return role ? std::optional(*role) : std::nullopt;
}

}  // namespace Mrp
