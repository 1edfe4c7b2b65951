#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {

std::uint64_t MrpSm::mrpGetRxAttributeKey() {
  switch (mrpLib_->application()) {
    case MrpApplication::msrp:
      return msrpGetRxAttributeKey();
    case MrpApplication::mvrp:
      return mvrpGetRxAttributeKey();
    default:
      return 0;
  }
}

std::uint64_t MrpSm::mrpGetTxAttributeKey() {
  switch (mrpLib_->application()) {
    case MrpApplication::msrp:
      return msrpGetTxAttributeKey();
    case MrpApplication::mvrp:
      return mvrpGetTxAttributeKey();
    default:
      return 0;
  }
}

std::uint64_t MrpSm::msrpGetRxAttributeKey() const {
  switch (static_cast<MsrpAttrType>(parseContext_->attributeType())) {
    case MsrpAttrType::talkerAdvertise:
      return keyOf(mrpLib_->msrpTalkerAdvertiseRx());
    case MsrpAttrType::talkerFailed:
      return keyOf(mrpLib_->msrpTalkerFailedRx());
    case MsrpAttrType::listener:
      return keyOf(mrpLib_->msrpListenerVectorRx());
    case MsrpAttrType::domain:
      return keyOf(mrpLib_->msrpDomainVectorRx());
    default:
      return 0;
  }
}

std::uint64_t MrpSm::msrpGetTxAttributeKey() const {
  switch (static_cast<MsrpAttrType>(parseContext_->attributeType())) {
    case MsrpAttrType::talkerAdvertise:
      return keyOf(mrpLib_->msrpTalkerAdvertiseTx());
    case MsrpAttrType::talkerFailed:
      return keyOf(mrpLib_->msrpTalkerFailedTx());
    case MsrpAttrType::listener:
      return keyOf(mrpLib_->msrpListenerVectorTx());
    case MsrpAttrType::domain:
      return keyOf(mrpLib_->msrpDomainVectorTx());
    default:
      return 0;
  }
}

std::uint64_t MrpSm::mvrpGetRxAttributeKey() const {
  const bool vlan = parseContext_->attributeType() == static_cast<std::uint8_t>(MvrpAttrType::vlan);
  return vlan ? keyOf(mrpLib_->mvrpVlanVectorRx()) : 0;
}

std::uint64_t MrpSm::mvrpGetTxAttributeKey() const {
  const bool vlan = parseContext_->attributeType() == static_cast<std::uint8_t>(MvrpAttrType::vlan);
  return vlan ? keyOf(mrpLib_->mvrpVlanVectorTx()) : 0;
}

}  // namespace Mrp
