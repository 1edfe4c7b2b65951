// From one declaration to the octets of a port's open packet. The attribute joins the current
// vector when its value follows in sequence, else starts a new vector in the message, or a new
// message.

#include <algorithm>

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/tx/EventPacking.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

constexpr std::size_t kDataRoom = 1500;
// Room that is left for the header, the end marks and the next vector before a packet counts as
// full.
constexpr std::size_t kMargin = 64;
// Of the packet buffer: Ethernet header and version, and a tag should an endpoint add one.
constexpr std::size_t kHeadRoom = 32;

inline bool packetFull(const MrpTxPacketContext& context, MrpApplication application,
                       const Platform::IntfStatus* status) {
  const std::size_t limit = status ? std::min<std::size_t>(status->mtu, kDataRoom) : kDataRoom;
  return mrpGetNumOfPackedBytes(context, application) + kMargin >= limit;
}

// FirstValue as it stands in the packet.
template <class T>
T firstValueOf(const MrpTxPacketContext& context) {
  T value;
  std::memcpy(&value, context.vectorData() + kVectorHeaderSize, sizeof value);
  return value;
}

// A codec says what distinguishes an attribute type from the others: its application and number,
// the value to be sent, the sequence test, and whether a four-packed event goes with it. Only the
// identity fields of a value are compared: an appended value is sent without its other fields.
template <MrpApplication App, std::uint8_t Type>
struct CodecBase {
  static constexpr MrpApplication application = App;
  static constexpr std::uint8_t type = Type;
  static constexpr std::size_t firstValueSize = attributeLength(App, Type);
  static constexpr bool fourPacked = false;
};

bool talkerInSequence(const MsrpTalkerAdvertiseAttribute& first,
                      const MsrpTalkerAdvertiseAttribute& next, std::uint16_t n) {
  return mrpTalkerValueInSequence(first.streamId, next.streamId, first.frame.dmac, next.frame.dmac,
                                  n);
}

struct TalkerAdvertiseCodec : CodecBase<MrpApplication::msrp, 1> {
  using Attribute = MsrpTalkerAdvertiseAttribute;
  static constexpr const char* prefix = "mrpSendTalkerAdvertise on ";
  static constexpr const char* label = "streamId = 0x";
  static const Attribute& value(const MrpLib& lib) { return lib.msrpTalkerAdvertiseTx(); }
  static bool inSequence(const MrpTxPacketContext& c, const Attribute& next, std::uint16_t n) {
    return talkerInSequence(firstValueOf<Attribute>(c), next, n);
  }
  // Whether the two differ in stream and address alone.
  static bool sameBeside(const Attribute& first, const Attribute& next) {
    return first.frame.vlanId == next.frame.vlanId && first.tSpec == next.tSpec &&
           first.priorityAndRank == next.priorityAndRank &&
           first.accumulatedLatency == next.accumulatedLatency;
  }
};

struct TalkerFailedCodec : CodecBase<MrpApplication::msrp, 2> {
  using Attribute = MsrpTalkerFailedAttribute;
  static constexpr const char* prefix = "mrpSendTalkerFailed on ";
  static constexpr const char* label = "streamId = 0x";
  static const Attribute& value(const MrpLib& lib) { return lib.msrpTalkerFailedTx(); }
  static bool inSequence(const MrpTxPacketContext& c, const Attribute& next, std::uint16_t n) {
    return talkerInSequence(firstValueOf<Attribute>(c).talkerAdvertiseAttribute,
                            next.talkerAdvertiseAttribute, n);
  }
  static bool sameBeside(const Attribute& first, const Attribute& next) {
    return TalkerAdvertiseCodec::sameBeside(first.talkerAdvertiseAttribute,
                                            next.talkerAdvertiseAttribute) &&
           first.failureInformation == next.failureInformation;
  }
};

struct ListenerCodec : CodecBase<MrpApplication::msrp, 3> {
  using Attribute = MsrpListenerAttribute;
  static constexpr bool fourPacked = true;
  static constexpr const char* prefix = "mrpSendListenerVector on ";
  static constexpr const char* label = "listenerVector = ";
  static const Attribute& value(const MrpLib& lib) { return lib.msrpListenerVectorTx(); }
  static bool inSequence(const MrpTxPacketContext& c, const Attribute& next, std::uint16_t n) {
    return firstValueOf<MsrpListenerStreamAttribute>(c).streamId + n == next.streamId;
  }
};

struct DomainCodec : CodecBase<MrpApplication::msrp, 4> {
  using Attribute = MsrpDomainAttribute;
  static constexpr const char* prefix = "mrpSendDomainVector on ";
  static constexpr const char* label = "domainVector = ";
  static const Attribute& value(const MrpLib& lib) { return lib.msrpDomainVectorTx(); }
  static bool inSequence(const MrpTxPacketContext& c, const Attribute& next, std::uint16_t n) {
    const auto first = firstValueOf<Attribute>(c);
    return mrpDomainValueInSequence(first.srClassId, next.srClassId, first.srClassPriority,
                                    next.srClassPriority, n);
  }
};

struct VlanCodec : CodecBase<MrpApplication::mvrp, 1> {
  using Attribute = MvrpVlanAttribute;
  static constexpr const char* prefix = "mrpSendVlanVector on ";
  static constexpr const char* label = "vlanId = ";
  static const Attribute& value(const MrpLib& lib) { return lib.mvrpVlanVectorTx(); }
  static bool inSequence(const MrpTxPacketContext& c, const Attribute& next, std::uint16_t n) {
    return std::uint32_t{firstValueOf<Attribute>(c).vlanId} + n == next.vlanId;
  }
};

template <class Codec>
[[gnu::noinline]] void traceSending(Platform::Trace& trace, const typename Codec::Attribute& value,
                                    std::uint8_t event, IntfId intf) {
  MRP_TRACE(trace, 8, Codec::prefix << intf << " event=" << +event);
  MRP_TRACE(trace, 8, Codec::label << std::hex << keyOf(value) << std::dec << " " << value);
}

template <class Codec>
std::size_t appendEvent(MrpTxPacketContext& context, const typename Codec::Attribute& value,
                        std::uint8_t event) {
  if constexpr (Codec::fourPacked) {
    return mrpPackThreeAndFourPackedEvent(context, event, value.listenerEvent());
  } else {
    return mrpPackThreePackedEvent(context, Codec::type, event, Codec::application);
  }
}

template <class Codec>
void openMessage(MrpTxPacketContext& context, Platform::Trace& trace) {
  if constexpr (Codec::application == MrpApplication::msrp) {
    mrpCreateNewMsrpHeader(context, Codec::type, trace);
  } else {
    mrpCreateNewMvrpHeader(context, Codec::type, trace);
  }
}

// Moves to the place right after the current vector.
template <class Codec>
void openVector(MrpTxPacketContext& context) {
  if constexpr (Codec::application == MrpApplication::msrp) {
    const std::size_t listLength = readU16(context.messageData() + kAttributeListLengthOffset);
    context.curVectorIs(context.curMessage() + kMsrpMessageHeaderSize + listLength);
  } else {
    context.curVectorIs(context.curVector() + mvrpGetSizeOfVector(context.vectorData()));
  }
}

void addToListLength(MrpTxPacketContext& context, std::size_t added, Platform::Trace& trace) {
  std::uint8_t* listLength = context.messageData() + kAttributeListLengthOffset;
  const std::uint16_t old = readU16(listLength);
  const auto updated = static_cast<std::uint16_t>(old + added);
  writeU16(listLength, updated);
  MRP_TRACE(trace, 8, " Cur Attribute List Length encoded = " << old << " Added bytes = " << added);
  MRP_TRACE(trace, 8, " Updated Attribute List Length encoded = " << updated);
}

}  // namespace

// A pending LeaveAll rides on the first new vector written, whatever its port and type.
template <class Codec>
std::size_t MrpLib::encodeVector(MrpTxPacketContext& context,
                                 const typename Codec::Attribute& value, std::uint8_t event) {
  std::uint8_t* vector = context.vectorData();
  if (event == kLeaveAllEvent) {
    writeU16(vector, kVectorHeaderLeaveAll);
    nullAttribute(vector + kVectorHeaderSize, Codec::firstValueSize);
    return kVectorHeaderSize + Codec::firstValueSize;
  }
  MrpParseContext& parseContext = *mrpSm_->parseContext();
  writeU16(vector, parseContext.sendTxLvAll() ? kVectorHeaderLeaveAll : std::uint16_t{0});
  parseContext.sendTxLvAllIs(false);
  std::memcpy(vector + kVectorHeaderSize, &value, Codec::firstValueSize);
  return kVectorHeaderSize + Codec::firstValueSize + appendEvent<Codec>(context, value, event);
}

namespace {

template <class Codec>
bool continuesVector(const MrpTxPacketContext& context, const typename Codec::Attribute& value,
                     bool wholeTalkers) {
  if (!Codec::inSequence(context, value, mrpGetNumOfValues(context.vectorData()))) return false;
  if constexpr (requires { &Codec::sameBeside; }) {
    return !wholeTalkers ||
           Codec::sameBeside(firstValueOf<typename Codec::Attribute>(context), value);
  }
  return true;
}

}  // namespace

template <class Codec>
void MrpLib::sendVector(MrpTxPacketContext& context, std::uint8_t event, IntfId intf) {
  Platform::Trace& trace = mrpSm_->trace();
  const auto& value = Codec::value(*this);
  if (trace.isOn(8)) traceSending<Codec>(trace, value, event, intf);

  const bool newMessage =
      event == kLeaveAllEvent || !context.hasMessage() || *context.messageData() != Codec::type;
  std::size_t added = 0;
  if (newMessage) {
    openMessage<Codec>(context, trace);
    added = encodeVector<Codec>(context, value, event);
  } else if (continuesVector<Codec>(context, value,
                                    mrpSm_->mrpConfig()->wholeTalkersInSequence())) {
    added = appendEvent<Codec>(context, value, event);
  } else {
    openVector<Codec>(context);
    added = encodeVector<Codec>(context, value, event);
  }
  if constexpr (Codec::application == MrpApplication::msrp) {
    addToListLength(context, added, trace);
  }
  context.currentAttrTypeIs(Codec::type);
}

void MrpLib::mrpSendTalkerAdvertise(std::uint8_t event, IntfId intf, bool second) {
  sendVector<TalkerAdvertiseCodec>(*mrpTxContext(intf, second), event, intf);
}
void MrpLib::mrpSendTalkerFailed(std::uint8_t event, IntfId intf, bool second) {
  sendVector<TalkerFailedCodec>(*mrpTxContext(intf, second), event, intf);
}
void MrpLib::mrpSendListenerVector(std::uint8_t event, IntfId intf, bool second) {
  sendVector<ListenerCodec>(*mrpTxContext(intf, second), event, intf);
}
void MrpLib::mrpSendDomainVector(std::uint8_t event, IntfId intf, bool second) {
  sendVector<DomainCodec>(*mrpTxContext(intf, second), event, intf);
}
void MrpLib::mrpSendVlanVector(std::uint8_t event, IntfId intf, bool second) {
  sendVector<VlanCodec>(*mrpTxContext(intf, second), event, intf);
}

void MrpLib::mrpSendMsrpAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  sendMsrp(*mrpTxContext(intf, second), parameters, intf);
}
void MrpLib::mrpSendMvrpAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  sendMvrp(*mrpTxContext(intf, second), parameters, intf);
}

void MrpLib::sendMsrp(MrpTxPacketContext& context, const MrpParameters& parameters, IntfId intf) {
  const std::uint8_t event = parameters.attributeEvent;
  switch (static_cast<MsrpAttrType>(parameters.attributeType)) {
    case MsrpAttrType::talkerAdvertise:
      return sendVector<TalkerAdvertiseCodec>(context, event, intf);
    case MsrpAttrType::talkerFailed:
      return sendVector<TalkerFailedCodec>(context, event, intf);
    case MsrpAttrType::listener:
      return sendVector<ListenerCodec>(context, event, intf);
    case MsrpAttrType::domain:
      return sendVector<DomainCodec>(context, event, intf);
    default:
      MRP_TRACE(mrpSm_->trace(), 4, " Invalid Attribute type in mrpSendAttributeIntf for " << intf);
  }
}

void MrpLib::sendMvrp(MrpTxPacketContext& context, const MrpParameters& parameters, IntfId intf) {
  if (parameters.attributeType == static_cast<std::uint8_t>(MvrpAttrType::vlan)) {
    return sendVector<VlanCodec>(context, parameters.attributeEvent, intf);
  }
  MRP_TRACE(mrpSm_->trace(), 4, " Invalid Attribute type in mrpSendMvrpAttributeIntf for " << intf);
}

void MrpLib::mrpSendAttributeIntf(const MrpParameters& parameters, IntfId intf, bool second) {
  if (!mrpSm_->pamCollection()->pam(intf)) {
    MRP_TRACE(mrpSm_->trace(), 4, " Tx is being Attempted before the PAM is enabled ");
    return;
  }
  MrpTxPacketContext* context = mrpTxContext(intf, second);
  if (!context || context->currentAttrType() > parameters.attributeType) {
    context = openContext(parameters, intf, second);
    if (!context) return;
  }
  switch (application_) {
    case MrpApplication::msrp:
      sendMsrp(*context, parameters, intf);
      break;
    case MrpApplication::mvrp:
      sendMvrp(*context, parameters, intf);
      break;
    default:
      unsupportedApplication();
      break;
  }
  const Platform::IntfStatus* status = mrpSm_->allIntfStatusDir()->intfStatus(intf);
  if (packetFull(*context, application_, status)) mrpSm_->mrpTransmitTxPacket(intf, second);
}

void MrpLib::unsupportedApplication() {
  MRP_TRACE(mrpSm_->trace(), 8, " Not supported Application:  " << application_);
  std::ostringstream text;
  text << "unsupported application " << application_;
  mrpSm_->trace().record(std::move(text).str());
}

// A new packet for an attribute of this type. Messages of one MRPDU stand in ascending order of
// type, so an open packet, which is past it, leaves first.
MrpTxPacketContext* MrpLib::openContext(const MrpParameters& parameters, IntfId intf, bool second) {
  mrpSm_->mrpTransmitTxPacket(intf, second);
  if (MrpTxPacketContext* context = mrpTxContext(intf, second)) return context;
  const Ptr<Pkt> pkt = mrpSm_->pktManager().pktIs(kHeadRoom, kDataRoom);
  if (!pkt) {
    MRP_TRACE(mrpSm_->trace(), 4, "Packet allocation failed for " << parameters);
    std::ostringstream text;
    text << "packet allocation failed for " << parameters;
    mrpSm_->trace().record(std::move(text).str());
    return nullptr;
  }
  pkt->sizeIs(kDataRoom);
  return &(second ? mrpTxSecondPacketContextIs(intf, pkt) : mrpTxPacketContextIs(intf, pkt));
}

std::size_t MrpLib::mrpEncodeTalkerVector(MrpTxPacketContext& context,
                                          const MsrpTalkerAdvertiseAttribute& value,
                                          std::uint8_t event) {
  return encodeVector<TalkerAdvertiseCodec>(context, value, event);
}
std::size_t MrpLib::mrpEncodeTalkerFailedVector(MrpTxPacketContext& context,
                                                const MsrpTalkerFailedAttribute& value,
                                                std::uint8_t event) {
  return encodeVector<TalkerFailedCodec>(context, value, event);
}
std::size_t MrpLib::mrpEncodeListenerVector(MrpTxPacketContext& context,
                                            const MsrpListenerAttribute& value,
                                            std::uint8_t event) {
  return encodeVector<ListenerCodec>(context, value, event);
}
std::size_t MrpLib::mrpEncodeDomainVector(MrpTxPacketContext& context,
                                          const MsrpDomainAttribute& value, std::uint8_t event) {
  return encodeVector<DomainCodec>(context, value, event);
}
std::size_t MrpLib::mrpEncodeVlanVector(MrpTxPacketContext& context, const MvrpVlanAttribute& value,
                                        std::uint8_t event) {
  return encodeVector<VlanCodec>(context, value, event);
}

}  // namespace Mrp
