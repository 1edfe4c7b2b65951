// Requests that concern a port: enabling, disabling, cleaning up, and what governs it.

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/service/Service.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/MrpSm/tx/Transmitter.h"
#include "platform/bridging/BridgingConfig.h"
#include "platform/packet/PamDirs.h"
#include "platform/stp/StpStatus.h"

namespace Mrp {

void Service::enable(IntfId intf) {
  MRP_TRACE(env_.trace, 8, "MrpLib::mrpInterfaceEnable( " << intf << " )");
  desired_->intfDesiredIs(intf, true);
}

void Service::disable(IntfId intf) {
  if (active()) {
    machines_.transmitter->flush(intf);
    machines_.transmitter->drop(intf);
  }
  cleanUp(intf);
  desired_->intfDesiredDel(intf);
  MRP_TRACE(env_.trace, 8, "MrpLib::mrpInterfaceDisable( " << intf << " )");
}

void Service::cleanUp(IntfId intf) {
  if (!active()) return;
  machines_.registrar->mrpCancelLeavePending(intf);
  records_.deleteAll(intf);
}

void Service::cleanUp(const MrpAttribute& attribute) {
  if (active()) records_.deletePending(attribute);
}

std::string Service::baseSpanningTreeTopo(IntfId intf) const {
  if (!inputs_.stpStatus) return {};
  const std::uint32_t mode = inputs_.stpStatus->mode();
  switch (mode) {
    case Stp::Mode::mstp:
    case Stp::Mode::rstp:
    case Stp::Mode::stp:
      return Stp::kCist;
    case Stp::Mode::none:
      return Stp::kNoStp;
    default:
      break;
  }
  const std::uint16_t native = nativeVlan(intf);
  if (native == 0) return {};
  const Platform::VlanId vlan(native);
  const auto* config = inputs_.brConfig->vlanConfig(vlan);
  if (!config) return {};
  if (mode == Stp::Mode::perVlan) return Stp::perVlanInstanceName(vlan);
  if (mode == Stp::Mode::backup) return Stp::kBkup + std::to_string(config->instance);
  return {};
}

std::uint16_t Service::nativeVlan(IntfId intf) const { return inputs_.brConfig->nativeVlan(intf); }

}  // namespace Mrp
