// Requests that concern a port: enabling, disabling, cleaning up, and what governs it.

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {

void MrpLib::mrpInterfaceEnable(IntfId intf) {
  MRP_TRACE(mrpSm_->trace(), 8, "MrpLib::mrpInterfaceEnable( " << intf << " )");
  mrpSm_->desiredIntfDir()->intfDesiredIs(intf, true);
}

void MrpLib::mrpInterfaceDisable(IntfId intf) {
  mrpSm_->mrpTransmitTxAttributes(intf);
  mrpTxPacketContextDel(intf);
  mrpTxSecondPacketContextDel(intf);
  mrpCleanUpIntfDatabase(intf);
  mrpSm_->desiredIntfDir()->intfDesiredDel(intf);
  MRP_TRACE(mrpSm_->trace(), 8, "MrpLib::mrpInterfaceDisable( " << intf << " )");
}

// The databases that the active side wrote survive what happens to ports on the standby side.
void MrpLib::mrpCleanUpIntfDatabase(IntfId intf) {
  if (!mrpSm_->active()) return;
  mrpSm_->registrarSm()->mrpCancelLeavePending(intf);
  for (std::uint8_t type = 1; type <= mrpSm_->maxAttrTypes(); ++type) {
    mrpSm_->walkAttributes(intf, type, [&](const MrpAttrDatabase& record) {
      mrpSm_->addAttrToDeletePending({intf, type, record.attributeKey()});
    });
  }
}

void MrpLib::mrpCleanUpIntfDatabaseAttribute(IntfId intf, std::uint8_t attributeType,
                                             const std::uint64_t& attributeKey) {
  if (!mrpSm_->active()) return;
  mrpSm_->addAttrToDeletePending({intf, attributeType, attributeKey});
}

std::string MrpLib::baseSpanningTreeTopo(IntfId intf) const {
  if (!mrpSm_->stpStatus()) return {};
  const std::uint32_t mode = mrpSm_->stpStatus()->mode();
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
  const std::uint16_t native = getNativeVlanId(intf);
  if (native == 0) return {};
  const Platform::VlanId vlan(native);
  const auto* config = mrpSm_->brConfig().vlanConfig(vlan);
  if (!config) return {};
  if (mode == Stp::Mode::perVlan) return Stp::perVlanInstanceName(vlan);
  if (mode == Stp::Mode::backup) return Stp::kBkup + std::to_string(config->instance);
  return {};
}

std::uint16_t MrpLib::getNativeVlanId(IntfId intf) const {
  return mrpSm_->brConfig().nativeVlan(intf);
}

}  // namespace Mrp
