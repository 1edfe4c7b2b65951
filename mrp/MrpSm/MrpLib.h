#pragma once

#include <array>
#include <span>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/MrpSm/tx/MrpTxPacketContext.h"
#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/PlatformNames.h"
#include "platform/interface/IntfMap.h"
#include "platform/reactor/Entity.h"
#include "platform/reactor/SequencedQueue.h"
#include "platform/time/Seconds.h"

namespace Mrp {

class Engine;
class MrpSm;

// A member kept on purpose to hold its neighbours apart; it carries nothing.
struct PlaceHolder {};

// Face of one engine towards the protocol agent. The agent sets the application fields, creates the
// engine, and then requests declarations; a subclass that overrides the indications learns of
// registrations. An attribute's value travels in the value record of its type: write it to the
// transmit record before a request, read it from the receive record inside an indication.
class MRP_API MrpLib : public Platform::Entity {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpLib";
  using OutIntfQueue = Platform::SequencedQueue<IntfId>;
  using MrpOutIntfQueueMetadata = OutIntfQueue::Metadata;
  using TxContexts = Platform::IntfMap<Ptr<MrpTxPacketContext>>;

  MrpLib();
  ~MrpLib() override;

  // --- Indications -------------------------------------------------------------------------------
  // The service may be called from inside them.
  // A declaration was registered. True discards it.
  virtual bool mrpJoinIndication(const MrpParameters& parameters);
  // A registration was withdrawn or has aged out.
  virtual void mrpLeaveIndication(const MrpParameters& parameters);
  virtual void mrpLeaveAllIndication(const MrpParameters& parameters);

  // --- Identity ----------------------------------------------------------------------------------
  MrpApplication application() const { return application_; }
  void applicationIs(MrpApplication application);
  // Destination address of the application's MRPDUs (IEEE 802.1Q table 10-1).
  EthAddr applicationMacAddr() const { return applicationMacAddr_; }
  void applicationMacAddrIs(EthAddr address) { applicationMacAddr_ = address; }
  // EtherType of the application's MRPDUs, host order (IEEE 802.1Q table 10-2).
  std::uint16_t applicationEtype() const { return applicationEtype_; }
  void applicationEtypeIs(std::uint16_t etype) { applicationEtype_ = etype; }

  // --- Value records -----------------------------------------------------------------------------
#define MRP_VALUE_RECORD(type, name)           \
  type& name() { return name##_; }             \
  const type& name() const { return name##_; } \
  void name##Is(const type& value) { name##_ = value; }
  MRP_VALUE_RECORD(MsrpTalkerAdvertiseAttribute, msrpTalkerAdvertiseRx)
  MRP_VALUE_RECORD(MsrpTalkerFailedAttribute, msrpTalkerFailedRx)
  MRP_VALUE_RECORD(MsrpListenerAttribute, msrpListenerVectorRx)
  MRP_VALUE_RECORD(MsrpDomainAttribute, msrpDomainVectorRx)
  MRP_VALUE_RECORD(MvrpVlanAttribute, mvrpVlanVectorRx)
  MRP_VALUE_RECORD(MsrpTalkerAdvertiseAttribute, msrpTalkerAdvertiseTx)
  MRP_VALUE_RECORD(MsrpTalkerFailedAttribute, msrpTalkerFailedTx)
  MRP_VALUE_RECORD(MsrpListenerAttribute, msrpListenerVectorTx)
  MRP_VALUE_RECORD(MsrpDomainAttribute, msrpDomainVectorTx)
  MRP_VALUE_RECORD(MvrpVlanAttribute, mvrpVlanVectorTx)
#undef MRP_VALUE_RECORD
  // The octets of a type's record: the image in which values are staged and stored (25, 34, 12 and
  // 4 octets for the MSRP types, 2 for the VLAN). Empty for a type that the application lacks.
  std::span<std::uint8_t> rxImage(std::uint8_t attributeType) {
    const Images& of = images(attributeType);
    return {of.rx, of.size};
  }
  std::span<std::uint8_t> txImage(std::uint8_t attributeType) {
    const Images& of = images(attributeType);
    return {of.tx, of.size};
  }
  // Steps the receive record of the current type from the value of one event of a vector to the
  // next; nothing for index 0.
  void mrpValueFromFirstValue(std::uint32_t index);

  // --- Requests ----------------------------------------------------------------------------------
  // Both do nothing: requests go through mrpSendAttribute.
  void mrpJoinReq(const MrpParameters& parameters);
  void mrpLeaveReq(const MrpParameters& parameters);
  // Acts once for each port taken from mrpOutIntfQueue. Events 0 (New), 1 and 3 (Join) and 5 (Lv)
  // and 7 (internal leave) act on the port named in `parameters`; 6 (LeaveAll) on the queued one.
  // In standby, and without an engine, the queue is emptied and nothing happens.
  void mrpSendAttribute(const MrpParameters& parameters);
  // Encodes one event into the port's first or second open packet.
  void mrpSendAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second);
  void mrpSendLeaveAll(std::uint8_t attributeType, IntfId intf);
  void mrpHandleInternalLeave();
  void mrpDeleteAttrOnDefaultStates();

  void mrpInterfaceEnable(IntfId intf);
  // Sends what is pending, then drops the port's packets, attributes and endpoint.
  void mrpInterfaceDisable(IntfId intf);
  void mrpCleanUpIntfDatabase(IntfId intf);
  void mrpCleanUpIntfDatabaseAttribute(IntfId intf, std::uint8_t attributeType,
                                       const std::uint64_t& attributeKey);

  // Name of the spanning-tree instance that governs the port; empty when there is none. Throws
  // std::range_error when the port's native VLAN is needed and lies outside 1..4094.
  std::string baseSpanningTreeTopo(IntfId intf) const;
  // Native VLAN of the port, 0 when it has none.
  std::uint16_t getNativeVlanId(IntfId intf) const;

  // --- Encoders ----------------------------------------------------------------------------------
  void mrpSendMsrpAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second);
  void mrpSendMvrpAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second);
  void mrpSendTalkerAdvertise(std::uint8_t event, IntfId intf, bool second);
  void mrpSendTalkerFailed(std::uint8_t event, IntfId intf, bool second);
  void mrpSendListenerVector(std::uint8_t event, IntfId intf, bool second);
  void mrpSendDomainVector(std::uint8_t event, IntfId intf, bool second);
  void mrpSendVlanVector(std::uint8_t event, IntfId intf, bool second);
  // Each writes a whole new vector at the context's current vector and gives its octets.
  std::size_t mrpEncodeTalkerVector(MrpTxPacketContext& context,
                                    const MsrpTalkerAdvertiseAttribute& value, std::uint8_t event);
  std::size_t mrpEncodeTalkerFailedVector(MrpTxPacketContext& context,
                                          const MsrpTalkerFailedAttribute& value,
                                          std::uint8_t event);
  std::size_t mrpEncodeListenerVector(MrpTxPacketContext& context,
                                      const MsrpListenerAttribute& value, std::uint8_t event);
  std::size_t mrpEncodeDomainVector(MrpTxPacketContext& context, const MsrpDomainAttribute& value,
                                    std::uint8_t event);
  std::size_t mrpEncodeVlanVector(MrpTxPacketContext& context, const MvrpVlanAttribute& value,
                                  std::uint8_t event);

  // --- Open packets and output queue -------------------------------------------------------------
  // At most one first and one second packet a port. Creating one that exists with another buffer is
  // a programming error.
  MrpTxPacketContext& mrpTxPacketContextIs(IntfId intf, Ptr<Pkt> pkt);
  MrpTxPacketContext& mrpTxSecondPacketContextIs(IntfId intf, Ptr<Pkt> pkt);
  MrpTxPacketContext* mrpTxPacketContext(IntfId intf) const {
    return contextOf(mrpTxPacketContext_, intf);
  }
  MrpTxPacketContext* mrpTxSecondPacketContext(IntfId intf) const {
    return contextOf(mrpTxSecondPacketContext_, intf);
  }
  MrpTxPacketContext* mrpTxContext(IntfId intf, bool second) const {
    return second ? mrpTxSecondPacketContext(intf) : mrpTxPacketContext(intf);
  }
  void mrpTxPacketContextDel(IntfId intf) { mrpTxPacketContext_.del(intf); }
  void mrpTxSecondPacketContextDel(IntfId intf) { mrpTxSecondPacketContext_.del(intf); }
  void mrpTxContextDel(IntfId intf, bool second);
  void mrpTxPacketContextDelAll() { mrpTxPacketContext_.delAll(); }
  void mrpTxSecondPacketContextDelAll() { mrpTxSecondPacketContext_.delAll(); }
  const TxContexts& mrpTxPacketContext() const { return mrpTxPacketContext_; }

  void mrpOutIntfQueueEnq(IntfId intf) { mrpOutIntfQueue_.enq(intf); }
  IntfId mrpOutIntfQueueDeq() { return mrpOutIntfQueue_.deq(); }
  void mrpOutIntfQueueIs(std::uint32_t index, IntfId intf) { mrpOutIntfQueue_.is(index, intf); }
  void mrpOutIntfQueueDel(std::uint32_t index) { mrpOutIntfQueue_.del(index); }
  void mrpOutIntfQueueDelAll() { mrpOutIntfQueue_.delAll(); }
  // The port in the element with this index, the empty one when there is none.
  IntfId mrpOutIntfQueue(std::uint32_t index) const;
  bool mrpOutIntfQueueEmpty() const { return mrpOutIntfQueue_.empty(); }
  const MrpOutIntfQueueMetadata& mrpOutIntfQueueMetadata() const {
    return mrpOutIntfQueue_.metadata();
  }
  void mrpOutIntfQueueMetadataIs(const MrpOutIntfQueueMetadata& metadata) {
    mrpOutIntfQueue_.metadataIs(metadata);
  }

  // Port of the last frame handed to an endpoint.
  IntfId mrpCurrentTxIntf() const { return mrpCurrentTxIntf_; }
  void mrpCurrentTxIntfIs(IntfId intf) { mrpCurrentTxIntf_ = intf; }

  // The engine, null until it is initialised and after it is gone. Not owned.
  Engine* engine() const;
  MrpSm* mrpSm() const { return mrpSm_; }
  void mrpSmIs(MrpSm* mrpSm) { mrpSm_ = mrpSm; }

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  // The octets of a type's receive and transmit record; none of a type that the application lacks.
  struct Images {
    std::uint8_t* rx = nullptr;
    std::uint8_t* tx = nullptr;
    std::size_t size = 0;
  };
  static constexpr std::size_t kTypes = 5;  // 0 is none
  const Images& images(std::uint8_t attributeType) const {
    return images_[attributeType < kTypes ? attributeType : 0];
  }
  static MrpTxPacketContext* contextOf(const TxContexts& contexts, IntfId intf) {
    const Ptr<MrpTxPacketContext>* context = contexts.find(intf);
    return context ? context->get() : nullptr;
  }
  void doDeclare(MrpApplicantEvent event);
  void doSendLeaveAll(const MrpParameters& parameters, IntfId intf, Seconds period);
  MrpTxPacketContext* openContext(const MrpParameters& parameters, IntfId intf, bool second);
  void sendMsrp(MrpTxPacketContext& context, const MrpParameters& parameters, IntfId intf);
  void sendMvrp(MrpTxPacketContext& context, const MrpParameters& parameters, IntfId intf);
  void unsupportedApplication();
  template <class Codec>
  void sendVector(MrpTxPacketContext& context, std::uint8_t event, IntfId intf);
  template <class Codec>
  std::size_t encodeVector(MrpTxPacketContext& context, const typename Codec::Attribute& value,
                           std::uint8_t event);

  MrpApplication application_ = MrpApplication::none;
  std::array<Images, kTypes> images_{};
  EthAddr applicationMacAddr_;
  std::uint16_t applicationEtype_ = 0;
  MsrpTalkerAdvertiseAttribute msrpTalkerAdvertiseRx_{};
  MsrpTalkerFailedAttribute msrpTalkerFailedRx_{};
  MsrpListenerAttribute msrpListenerVectorRx_{};
  MsrpDomainAttribute msrpDomainVectorRx_{};
  MvrpVlanAttribute mvrpVlanVectorRx_{};
  MsrpTalkerAdvertiseAttribute msrpTalkerAdvertiseTx_{};
  MsrpTalkerFailedAttribute msrpTalkerFailedTx_{};
  MsrpListenerAttribute msrpListenerVectorTx_{};
  MsrpDomainAttribute msrpDomainVectorTx_{};
  MvrpVlanAttribute mvrpVlanVectorTx_{};
  TxContexts mrpTxPacketContext_;
  TxContexts mrpTxSecondPacketContext_;
  [[no_unique_address]] PlaceHolder bug466865Padding0_;
  OutIntfQueue mrpOutIntfQueue_;
  IntfId mrpCurrentTxIntf_;
  MrpSm* mrpSm_ = nullptr;
};

// A new service object, notifications on.
MRP_API Ptr<MrpLib> mrpLibFactory();

}  // namespace Mrp
