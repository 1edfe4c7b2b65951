#pragma once

#include <span>

#include "mrp/MrpSm/ValueRecords.h"
#include "mrp/MrpSm/pdu/TxPackets.h"
#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/PlatformNames.h"
#include "platform/reactor/Entity.h"
#include "platform/reactor/SequencedQueue.h"
#include "platform/time/Seconds.h"

namespace Mrp {

class Engine;
class MrpSm;
class Service;
struct EngineRooms;

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

  MrpLib();
  ~MrpLib() override;

  // --- Indications -------------------------------------------------------------------------------
  // The service may be called from inside them.
  // A declaration was registered. True discards it.
  virtual bool mrpJoinIndication(const MrpParameters& parameters);
  // A registration was withdrawn or has aged out.
  virtual void mrpLeaveIndication(const MrpParameters& parameters);
  // Reserved: the engine never calls it.
  virtual void mrpLeaveAllIndication(const MrpParameters& parameters);

  // --- Identity ----------------------------------------------------------------------------------
  MrpApplication application() const { return application_; }
  void applicationIs(MrpApplication application);
  // All three, as the table of applications says.
  void identityIs(const ApplicationInfo& info);
  // Destination address of the application's MRPDUs (IEEE 802.1Q table 10-1).
  EthAddr applicationMacAddr() const { return applicationMacAddr_; }
  void applicationMacAddrIs(EthAddr address) { applicationMacAddr_ = address; }
  // EtherType of the application's MRPDUs, host order (IEEE 802.1Q table 10-2).
  std::uint16_t applicationEtype() const { return applicationEtype_; }
  void applicationEtypeIs(std::uint16_t etype) { applicationEtype_ = etype; }

  // --- Value records -----------------------------------------------------------------------------
#define MRP_VALUE_RECORD(type, name, slot)          \
  type& name() { return values_.slot; }             \
  const type& name() const { return values_.slot; } \
  void name##Is(const type& value) { values_.slot = value; }
  MRP_VALUE_RECORD(MsrpTalkerAdvertiseAttribute, msrpTalkerAdvertiseRx, talkerAdvertise.rx)
  MRP_VALUE_RECORD(MsrpTalkerFailedAttribute, msrpTalkerFailedRx, talkerFailed.rx)
  MRP_VALUE_RECORD(MsrpListenerAttribute, msrpListenerVectorRx, listener.rx)
  MRP_VALUE_RECORD(MsrpDomainAttribute, msrpDomainVectorRx, domain.rx)
  MRP_VALUE_RECORD(MvrpVlanAttribute, mvrpVlanVectorRx, vlan.rx)
  MRP_VALUE_RECORD(MsrpTalkerAdvertiseAttribute, msrpTalkerAdvertiseTx, talkerAdvertise.tx)
  MRP_VALUE_RECORD(MsrpTalkerFailedAttribute, msrpTalkerFailedTx, talkerFailed.tx)
  MRP_VALUE_RECORD(MsrpListenerAttribute, msrpListenerVectorTx, listener.tx)
  MRP_VALUE_RECORD(MsrpDomainAttribute, msrpDomainVectorTx, domain.tx)
  MRP_VALUE_RECORD(MvrpVlanAttribute, mvrpVlanVectorTx, vlan.tx)
#undef MRP_VALUE_RECORD
  ValueRecords& values() { return values_; }
  // The octets of a type's record, see ValueRecords.
  std::span<std::uint8_t> rxImage(std::uint8_t type) { return values_.rxImage(type); }
  std::span<std::uint8_t> txImage(std::uint8_t type) { return values_.txImage(type); }
  // Steps the receive record of the current type from the value of one event of a vector to the
  // next; nothing for index 0.
  void mrpValueFromFirstValue(std::uint32_t index);

  // --- Requests ----------------------------------------------------------------------------------
  // Both do nothing: requests go through mrpSendAttribute.
  void mrpJoinReq(const MrpParameters& parameters);
  void mrpLeaveReq(const MrpParameters& parameters);
  // Those that need an engine assert that there is one; those that act on its current attribute or
  // send, that it is active.
  //
  // Acts once for each port taken from mrpOutIntfQueue. Events 0 (New), 1 and 3 (Join) and 5 (Lv)
  // and 7 (internal leave) act on the port named in `parameters`; 6 (LeaveAll) on the queued one.
  // In standby, and without an engine, the queue is emptied and nothing happens.
  void mrpSendAttribute(const MrpParameters& parameters);
  // Encodes one event into the port's first or second open packet.
  void mrpSendAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second);
  void mrpSendLeaveAll(std::uint8_t attributeType, IntfId intf);
  void mrpHandleInternalLeave();
  void mrpDeleteAttrOnDefaultStates();

  // Sends what is open on a port, the first packet before the second: whoever withdraws what may
  // still stand in them sends them first.
  void mrpTransmitTxAttributes(IntfId intf);

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
  MrpTxPacketContext& mrpTxPacketContextIs(IntfId intf, Ptr<Pkt> pkt) {
    return mrpTxPacketContext_.is(intf, pkt);
  }
  MrpTxPacketContext& mrpTxSecondPacketContextIs(IntfId intf, Ptr<Pkt> pkt) {
    return mrpTxSecondPacketContext_.is(intf, pkt);
  }
  MrpTxPacketContext* mrpTxPacketContext(IntfId intf) const {
    return mrpTxPacketContext_.find(intf);
  }
  MrpTxPacketContext* mrpTxSecondPacketContext(IntfId intf) const {
    return mrpTxSecondPacketContext_.find(intf);
  }
  void mrpTxPacketContextDel(IntfId intf) { mrpTxPacketContext_.del(intf); }
  void mrpTxSecondPacketContextDel(IntfId intf) { mrpTxSecondPacketContext_.del(intf); }
  void mrpTxPacketContextDelAll() { mrpTxPacketContext_.delAll(); }
  void mrpTxSecondPacketContextDelAll() { mrpTxSecondPacketContext_.delAll(); }
  TxPackets& txPackets(bool second) {
    return second ? mrpTxSecondPacketContext_ : mrpTxPacketContext_;
  }

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
  // What serves the requests of an engine that is there; the rooms of one that is active.
  Service& service() const;
  EngineRooms& activeRooms() const;
  void addTo(std::uint8_t type, std::uint8_t event, IntfId intf, bool second);

  MrpApplication application_ = MrpApplication::none;
  EthAddr applicationMacAddr_;
  std::uint16_t applicationEtype_ = 0;
  ValueRecords values_;
  TxPackets mrpTxPacketContext_;
  TxPackets mrpTxSecondPacketContext_;
  [[no_unique_address]] PlaceHolder bug466865Padding0_;
  OutIntfQueue mrpOutIntfQueue_;
  IntfId mrpCurrentTxIntf_;
  MrpSm* mrpSm_ = nullptr;
};

// A new service object, notifications on.
MRP_API Ptr<MrpLib> mrpLibFactory();

}  // namespace Mrp
