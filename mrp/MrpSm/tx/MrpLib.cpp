#include "mrp/MrpSm/MrpLib.h"

#include <array>

#include "mrp/MrpMsrp/MsrpFirstValue.h"
#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {
namespace {

MrpTxPacketContext& contextIs(MrpLib::TxContexts& contexts, IntfId intf, Ptr<Pkt> pkt) {
  Ptr<MrpTxPacketContext>& context = contexts.is(intf);
  if (!context) context = Platform::makePtr<MrpTxPacketContext>(intf, pkt);
  MRP_ASSERT_TEXT(context->pkt() == pkt, "a context's packet is never replaced");
  return *context;
}

}  // namespace

MrpLib::MrpLib() = default;
MrpLib::~MrpLib() = default;

bool MrpLib::mrpJoinIndication(const MrpParameters&) { return false; }
void MrpLib::mrpLeaveIndication(const MrpParameters&) {}
void MrpLib::mrpLeaveAllIndication(const MrpParameters&) {}

Engine* MrpLib::engine() const { return mrpSm_; }

void MrpLib::applicationIs(MrpApplication application) {
  const auto imagesOf = [](auto& rx, auto& tx) {
    return Images{reinterpret_cast<std::uint8_t*>(&rx), reinterpret_cast<std::uint8_t*>(&tx),
                  sizeof rx};
  };
  application_ = application;
  images_ = {};
  if (application == MrpApplication::msrp) {
    images_ = {Images{}, imagesOf(msrpTalkerAdvertiseRx_, msrpTalkerAdvertiseTx_),
               imagesOf(msrpTalkerFailedRx_, msrpTalkerFailedTx_),
               imagesOf(msrpListenerVectorRx_, msrpListenerVectorTx_),
               imagesOf(msrpDomainVectorRx_, msrpDomainVectorTx_)};
  } else if (application == MrpApplication::mvrp) {
    images_[1] = imagesOf(mvrpVlanVectorRx_, mvrpVlanVectorTx_);
  }
}

void MrpLib::mrpValueFromFirstValue(std::uint32_t index) {
  if (index == 0) return;
  Platform::Trace& trace = mrpSm_->trace();
  const std::uint8_t type = mrpSm_->parseContext()->attributeType();
  if (application_ == MrpApplication::mvrp) {
    if (type == 1) mrpIncrementVlanVector(mvrpVlanVectorRx_, trace);
    return;
  }
  if (application_ != MrpApplication::msrp) return;
  switch (static_cast<MsrpAttrType>(type)) {
    case MsrpAttrType::talkerAdvertise:
      return mrpIncrementTalkerAdvertise(msrpTalkerAdvertiseRx_, trace);
    case MsrpAttrType::talkerFailed:
      return mrpIncrementTalkerFailed(msrpTalkerFailedRx_, trace);
    case MsrpAttrType::listener:
      return mrpIncrementListenerVector(msrpListenerVectorRx_, trace);
    case MsrpAttrType::domain:
      return mrpIncrementDomainVector(msrpDomainVectorRx_, trace);
    default:
      return;
  }
}

MrpTxPacketContext& MrpLib::mrpTxPacketContextIs(IntfId intf, Ptr<Pkt> pkt) {
  return contextIs(mrpTxPacketContext_, intf, std::move(pkt));
}
MrpTxPacketContext& MrpLib::mrpTxSecondPacketContextIs(IntfId intf, Ptr<Pkt> pkt) {
  return contextIs(mrpTxSecondPacketContext_, intf, std::move(pkt));
}
void MrpLib::mrpTxContextDel(IntfId intf, bool second) {
  second ? mrpTxSecondPacketContextDel(intf) : mrpTxPacketContextDel(intf);
}

IntfId MrpLib::mrpOutIntfQueue(std::uint32_t index) const {
  const IntfId* intf = mrpOutIntfQueue_.element(index);
  return intf ? *intf : IntfId();
}

std::span<const Platform::AttributeInfo> MrpLib::attributeTable() {
  using A = MrpLib;
#define MRP_VALUE_RECORD(type, name) \
  Platform::attribute<A, static_cast<const type& (A::*)() const>(&A::name), &A::name##Is>(#name)
  static constexpr std::array table{
      Platform::attribute<A, &A::application, &A::applicationIs>("application"),
      Platform::attribute<A, &A::applicationMacAddr, &A::applicationMacAddrIs>(
          "applicationMacAddr"),
      Platform::attribute<A, &A::applicationEtype, &A::applicationEtypeIs>("applicationEtype"),
      MRP_VALUE_RECORD(MsrpTalkerAdvertiseAttribute, msrpTalkerAdvertiseRx),
      MRP_VALUE_RECORD(MsrpTalkerFailedAttribute, msrpTalkerFailedRx),
      MRP_VALUE_RECORD(MsrpListenerAttribute, msrpListenerVectorRx),
      MRP_VALUE_RECORD(MsrpDomainAttribute, msrpDomainVectorRx),
      MRP_VALUE_RECORD(MvrpVlanAttribute, mvrpVlanVectorRx),
      MRP_VALUE_RECORD(MsrpTalkerAdvertiseAttribute, msrpTalkerAdvertiseTx),
      MRP_VALUE_RECORD(MsrpTalkerFailedAttribute, msrpTalkerFailedTx),
      MRP_VALUE_RECORD(MsrpListenerAttribute, msrpListenerVectorTx),
      MRP_VALUE_RECORD(MsrpDomainAttribute, msrpDomainVectorTx),
      MRP_VALUE_RECORD(MvrpVlanAttribute, mvrpVlanVectorTx),
      Platform::attribute<A, &A::mrpCurrentTxIntf, &A::mrpCurrentTxIntfIs>("mrpCurrentTxIntf"),
  };
#undef MRP_VALUE_RECORD
  return table;
}

Ptr<MrpLib> mrpLibFactory() {
  Ptr<MrpLib> lib = Platform::makePtr<MrpLib>();
  lib->hasNotificationActiveIs(true);
  return lib;
}

}  // namespace Mrp
