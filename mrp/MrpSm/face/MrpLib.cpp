#include "mrp/MrpSm/MrpLib.h"

#include <array>

#include "mrp/MrpMsrp/MsrpFirstValue.h"
#include "mrp/MrpSm/engine/Rooms.h"
#include "mrp/MrpSm/rx/FirstValues.h"
#include "mrp/MrpSm/tx/VectorEncoders.h"
#include "platform/Assert.h"

namespace Mrp {

MrpLib::MrpLib() = default;
MrpLib::~MrpLib() {
  if (mrpSm_) mrpSm_->mrpLibGone();
}

bool MrpLib::mrpJoinIndication(const MrpParameters&) { return false; }
void MrpLib::mrpLeaveIndication(const MrpParameters&) {}
void MrpLib::mrpLeaveAllIndication(const MrpParameters&) {}

Engine* MrpLib::engine() const { return mrpSm_; }

void MrpLib::applicationIs(MrpApplication application) {
  application_ = application;
  values_.applicationIs(application);
}

void MrpLib::identityIs(const ApplicationInfo& info) {
  applicationIs(info.application);
  applicationMacAddrIs(info.address);
  applicationEtypeIs(info.etherType);
}

// --- What serves the requests --------------------------------------------------------------------

Service& MrpLib::service() const {
  MRP_ASSERT_TEXT(mrpSm_ && mrpSm_->initialized(), "initialized()");
  return mrpSm_->rooms().service;
}

EngineRooms& MrpLib::activeRooms() const {
  MRP_ASSERT_TEXT(mrpSm_ && mrpSm_->active(), "initialized() && !standbyMode()");
  return mrpSm_->rooms();
}

// --- Requests ------------------------------------------------------------------------------------

void MrpLib::mrpJoinReq(const MrpParameters&) {}
void MrpLib::mrpLeaveReq(const MrpParameters&) {}

void MrpLib::mrpSendAttribute(const MrpParameters& parameters) {
  if (mrpSm_ && mrpSm_->rooms().active) {
    mrpSm_->rooms().service.request(*this, parameters);
  } else {
    mrpOutIntfQueueDelAll();
  }
}

void MrpLib::mrpSendAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  const std::uint8_t event = parameters.attributeEvent;
  activeRooms().transmitter->sendAny(
      intf, parameters.attributeType,
      second ? Transmitter::intoSecond(event) : Transmitter::intoFirst(event));
}

void MrpLib::mrpSendLeaveAll(std::uint8_t attributeType, IntfId intf) {
  activeRooms().transmitter->sendLeaveAll(intf, attributeType);
}

void MrpLib::mrpHandleInternalLeave() { activeRooms().service.internalLeave(); }
void MrpLib::mrpDeleteAttrOnDefaultStates() { activeRooms().service.deleteOnDefaultStates(); }

void MrpLib::mrpInterfaceEnable(IntfId intf) { service().enable(intf); }
void MrpLib::mrpInterfaceDisable(IntfId intf) { service().disable(intf); }
void MrpLib::mrpCleanUpIntfDatabase(IntfId intf) { service().cleanUp(intf); }
void MrpLib::mrpCleanUpIntfDatabaseAttribute(IntfId intf, std::uint8_t attributeType,
                                             const std::uint64_t& attributeKey) {
  service().cleanUp({intf, attributeType, attributeKey});
}

std::string MrpLib::baseSpanningTreeTopo(IntfId intf) const {
  return service().baseSpanningTreeTopo(intf);
}
std::uint16_t MrpLib::getNativeVlanId(IntfId intf) const { return service().nativeVlan(intf); }

void MrpLib::mrpTransmitTxAttributes(IntfId intf) { activeRooms().transmitter->flush(intf); }

// --- Values and vectors --------------------------------------------------------------------------

void MrpLib::mrpValueFromFirstValue(std::uint32_t index) {
  if (index == 0) return;
  const Environment& env = activeRooms().env;
  values_.with(application_, env.context->attributeType(),
               [&](auto& slots) { nextValue(slots.rx, env.trace); });
}

void MrpLib::addTo(std::uint8_t type, std::uint8_t event, IntfId intf, bool second) {
  MrpTxPacketContext* context = txPackets(second).find(intf);
  MRP_ASSERT_TEXT(context, "context");
  activeRooms().transmitter->encode(*context, type, event);
}

void MrpLib::mrpSendMsrpAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  addTo(parameters.attributeType, parameters.attributeEvent, intf, second);
}
void MrpLib::mrpSendMvrpAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  addTo(parameters.attributeType, parameters.attributeEvent, intf, second);
}
void MrpLib::mrpSendTalkerAdvertise(std::uint8_t event, IntfId intf, bool second) {
  addTo(1, event, intf, second);
}
void MrpLib::mrpSendTalkerFailed(std::uint8_t event, IntfId intf, bool second) {
  addTo(2, event, intf, second);
}
void MrpLib::mrpSendListenerVector(std::uint8_t event, IntfId intf, bool second) {
  addTo(3, event, intf, second);
}
void MrpLib::mrpSendDomainVector(std::uint8_t event, IntfId intf, bool second) {
  addTo(4, event, intf, second);
}
void MrpLib::mrpSendVlanVector(std::uint8_t event, IntfId intf, bool second) {
  addTo(1, event, intf, second);
}

std::size_t MrpLib::mrpEncodeTalkerVector(MrpTxPacketContext& context,
                                          const MsrpTalkerAdvertiseAttribute& value,
                                          std::uint8_t event) {
  return writeVector(context, value, event, activeRooms().env);
}
std::size_t MrpLib::mrpEncodeTalkerFailedVector(MrpTxPacketContext& context,
                                                const MsrpTalkerFailedAttribute& value,
                                                std::uint8_t event) {
  return writeVector(context, value, event, activeRooms().env);
}
std::size_t MrpLib::mrpEncodeListenerVector(MrpTxPacketContext& context,
                                            const MsrpListenerAttribute& value,
                                            std::uint8_t event) {
  return writeVector(context, value, event, activeRooms().env);
}
std::size_t MrpLib::mrpEncodeDomainVector(MrpTxPacketContext& context,
                                          const MsrpDomainAttribute& value, std::uint8_t event) {
  return writeVector(context, value, event, activeRooms().env);
}
std::size_t MrpLib::mrpEncodeVlanVector(MrpTxPacketContext& context, const MvrpVlanAttribute& value,
                                        std::uint8_t event) {
  return writeVector(context, value, event, activeRooms().env);
}

// --- Output queue and attributes by name ---------------------------------------------------------

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
