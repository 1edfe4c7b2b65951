#include "mrp/MrpSm/tx/Transmitter.h"

#include <algorithm>
#include <new>
#include <sstream>
#include <type_traits>
#include <utility>

#include "mrp/MrpSm/env/ApplicationScope.h"
#include "mrp/MrpSm/pdu/MrpduLayout.h"
#include "mrp/MrpSm/tx/VectorAppending.h"
#include "mrp/MrpSm/tx/VectorEncoders.h"
#include "platform/packet/EthFrame.h"
#include "platform/packet/Pam.h"

namespace Mrp {
namespace {

// Room that is left for the header, the end marks and the next vector before a packet counts as
// full.
constexpr std::size_t kMargin = 64;
// Of the packet buffer: Ethernet header and version, and a tag should an endpoint add one.
constexpr std::size_t kHeadRoom = 32;

namespace Frame = Platform::EthFrame;

// Ethernet header and ProtocolVersion.
constexpr std::size_t kFrameHeader = Frame::kHeader + 1;

// Closes the open message and the PDU; gives the octets packed, the PDU's end mark not counted.
std::size_t writeEndMarks(MrpTxPacketContext& context, MrpApplication application) {
  std::uint8_t* data = context.pkt()->data();
  std::size_t packed = mrpGetNumOfPackedBytes(context, application);
  if (context.hasMessage()) {
    writeU16(data + packed, 0);
    packed += kEndMarkSize;
    if (applicationInfo(application).listLength) addToListLength(context, kEndMarkSize);
  }
  writeU16(data + packed, 0);
  return packed;
}

}  // namespace

Transmitter::Transmitter(const Environment& env, const Ports& ports)
    : env_(env),
      ports_(ports),
      first_(ports.lib.txPackets(false)),
      second_(ports.lib.txPackets(true)),
      port_(ports, IntfId()) {
  for (const AttributeTypeInfo& type : env.info.types) {
    env.values.with(env.application, type.type, [&](const auto& slots) {
      using Value = typename std::remove_cvref_t<decltype(slots)>::Type;
      encoders_[type.type] = {
          [](Transmitter& self, IntfId intf, std::uint8_t, const Events& events) {
            return self.sendValue<Value>(intf, events);
          },
          [](MrpTxPacketContext& context, const void* value, std::uint8_t event,
             const Environment& of) {
            return addToPacket(context, *static_cast<const Value*>(value), event, of);
          },
          [](Platform::Trace& trace, const void* value, std::uint8_t event, IntfId intf) {
            Mrp::traceSending(trace, *static_cast<const Value*>(value), event, intf);
          },
          &slots.tx};
    });
  }
}

// --- Declarations --------------------------------------------------------------------------------

std::size_t Transmitter::encode(MrpTxPacketContext& context, std::uint8_t type,
                                std::uint8_t event) {
  const Encoder& encoder = encoderOf(type);
  if (!encoder.add) return notEncoded(context);
  if (env_.trace.isOn(8)) traceSending(context.intf(), type, event);
  const std::size_t packed = encoder.add(context, encoder.value, event, env_);
  if (env_.observed()) tellSent(context.intf(), type, event);
  return packed;
}

void Transmitter::traceSending(IntfId intf, std::uint8_t type, std::uint8_t event) const {
  const Encoder& encoder = encoders_[type];
  encoder.trace(env_.trace, encoder.value, event, intf);
}

void Transmitter::tellSent(IntfId intf, std::uint8_t type, std::uint8_t event) const {
  const std::uint64_t key = event == kLeaveAllEvent ? 0 : env_.values.txKey(type);
  env_.eventSent({intf, type, key}, event);
}

bool Transmitter::put(IntfId intf, std::uint8_t type, std::uint8_t event, bool second) {
  MrpTxPacketContext* context = portOf(intf).packet(second);
  bool sent = false;
  // Messages of one MRPDU stand in ascending order of type, so a packet that is past it leaves.
  if (!context || context->currentAttrType() > type) {
    sent = transmit(intf, second);
    context = open(intf, type, event, second);
    if (!context) return sent;
  }
  if (encode(*context, type, event) + kMargin < portOf(intf).room()) return sent;
  return transmit(intf, second) || sent;
}

bool Transmitter::sendAny(IntfId intf, std::uint8_t type, const Events& events) {
  if (!portOf(intf).hasEndpoint()) return noEndpoint(intf, type, events);
  const bool sent = events.into != Into::second && put(intf, type, events.first, false);
  return putSecond(intf, type, events, sent);
}

// Behind what has been put into the first packet. Whoever runs inside a transmission may close the
// port.
bool Transmitter::putSecond(IntfId intf, std::uint8_t type, const Events& events, bool sent) {
  if (events.into == Into::first) return sent;
  if (!sent || portOf(intf).hasEndpoint()) return put(intf, type, events.second, true) || sent;
  noEndpoint(intf, type, intoSecond(events.second));
  return sent;
}

// Nearly every event joins a vector that is open, in a packet that has room, and nobody is told of
// it. What is rare ends in a call, and so does what this port was not asked before: nothing has to
// be kept across one.
template <class Value>
inline bool Transmitter::sendValue(IntfId intf, const Events& events) {
  constexpr std::uint8_t type = Codec<Value>::type;
  const bool told = env_.trace.isOn(8) || env_.observed();
  const Platform::IntfStatus* status = port_.status.known();
  if (told || port_.intf != intf || !status || !Port::isThere(port_.endpoint.known()))
      [[unlikely]] {
    return sendAny(intf, type, events);
  }
  // A small one is taken out of the record: octets that are written might be its.
  using Kept = std::conditional_t<sizeof(Value) <= sizeof(void*), const Value, const Value&>;
  Kept value = *static_cast<const Value*>(encoders_[type].value);
  const std::size_t room = Port::room(status);
  MrpTxPacketContext* first = port_.first.known();
  if (!joinsOpenVector(first, value, env_)) [[unlikely]]
    return sendAny(intf, type, events);
  if (append(*first, value, events.first, env_) + kMargin >= room) [[unlikely]] {
    return firstFull(intf, type, events);
  }
  if (events.into == Into::first) return false;
  MrpTxPacketContext* second = port_.second.known();
  if (!joinsOpenVector(second, value, env_)) return put(intf, type, events.second, true);
  return append(*second, value, events.second, env_) + kMargin >= room && transmit(intf, true);
}

bool Transmitter::firstFull(IntfId intf, std::uint8_t type, const Events& events) {
  return putSecond(intf, type, events, transmit(intf, false));
}

// Once for each packet.
bool Transmitter::noEndpoint(IntfId intf, std::uint8_t type, const Events& events) const {
  for (int packets = events.into == Into::both ? 2 : 1; packets > 0; --packets) {
    MRP_TRACE(env_.trace, 4, " Tx is being Attempted before the PAM is enabled ");
    env_.discarded(MrpObserver::Reason::noEndpoint, {intf, type, env_.values.txKey(type)});
  }
  return false;
}

void Transmitter::sendLeaveAll(IntfId intf, std::uint8_t type) {
  MRP_TRACE(env_.trace, 8, " \n mrpSendLeaveAll: type = " << +type << " intfId = " << intf);
  sendAny(intf, type, intoFirst(kLeaveAllEvent));
}

MrpTxPacketContext* Transmitter::open(IntfId intf, std::uint8_t type, std::uint8_t event,
                                      bool second) {
  if (MrpTxPacketContext* context = packets(second).find(intf)) return context;
  try {
    if (const Ptr<Pkt> pkt = ports_.packets.pktIs(kHeadRoom, kDataRoom)) {
      pkt->sizeIs(kDataRoom);
      return &packets(second).is(intf, pkt);
    }
  } catch (const std::bad_alloc&) {
    // As when the platform says that it has none.
  }
  noPacket({.intfId = intf, .attributeType = type, .attributeEvent = event});
  return nullptr;
}

std::size_t Transmitter::notEncoded(const MrpTxPacketContext& context) const {
  const IntfId intf = context.intf();
  if (env_.application == MrpApplication::msrp) {
    MRP_TRACE(env_.trace, 4, " Invalid Attribute type in mrpSendAttributeIntf for " << intf);
  } else if (env_.application == MrpApplication::mvrp) {
    MRP_TRACE(env_.trace, 4, " Invalid Attribute type in mrpSendMvrpAttributeIntf for " << intf);
  } else {
    MRP_TRACE(env_.trace, 8, " Not supported Application:  " << env_.application);
    std::ostringstream text;
    text << "unsupported application " << env_.application;
    env_.trace.record(std::move(text).str());
  }
  return mrpGetNumOfPackedBytes(context, env_.application);
}

void Transmitter::noPacket(const MrpParameters& parameters) const {
  MRP_TRACE(env_.trace, 4, "Packet allocation failed for " << parameters);
  std::ostringstream text;
  text << "packet allocation failed for " << parameters;
  env_.trace.record(std::move(text).str());
  const std::uint8_t type = parameters.attributeType;
  env_.discarded(MrpObserver::Reason::noPacket, {parameters.intfId, type, env_.values.txKey(type)});
}

// --- Frames --------------------------------------------------------------------------------------

bool Transmitter::transmit(IntfId intf, bool second) {
  MrpTxPacketContext* context = packets(second).find(intf);
  if (!context) return false;
  if (env_.config.txSuppress()) {
    packets(second).del(intf);
    env_.discarded(MrpObserver::Reason::suppressed, {intf, 0, 0});
    return false;
  }
  Platform::Pam* pam = ports_.pams.pam(intf);
  if (!pam) {
    MRP_TRACE(env_.trace, 4, " Tx is being Attempted before the PAM is enabled " << intf);
    return false;
  }
  const Ptr<Pkt> pkt = context->pkt();
  finish(*context);
  ports_.lib.mrpCurrentTxIntfIs(intf);
  env_.counters->numOfPktsTransmittedInc();
  MRP_TRACE(env_.trace, 8, " A pkt is sent on : " << intf);
  if (env_.observed()) {
    env_.observe(&MrpObserver::frame, {MrpObserver::Direction::sent, intf, sourceAddress(intf),
                                       std::as_const(*pkt).octets()});
  }
  // The context goes first: whoever declares something from inside the endpoint opens a new packet.
  packets(second).del(intf);
  const ApplicationScope scope(env_, ApplicationScope::Keeps::allRecords);
  pam->txPktIs(pkt);
  return true;
}

// From what is packed to a whole frame.
void Transmitter::finish(MrpTxPacketContext& context) const {
  Pkt& pkt = *context.pkt();
  const std::size_t packed = writeEndMarks(context, env_.application);
  pkt.headAdd(kFrameHeader);
  std::uint8_t* frame = pkt.data();
  const EthAddr destination = ports_.lib.applicationMacAddr();
  const EthAddr source = sourceAddress(context.intf());
  std::memcpy(frame + Frame::kDestination, destination.data(), Frame::kAddress);
  std::memcpy(frame + Frame::kSource, source.data(), Frame::kAddress);
  writeU16(frame + Frame::kEtherType, ports_.lib.applicationEtype());
  frame[Frame::kHeader] = 0;
  const std::size_t length = packed + kFrameHeader + kEndMarkSize;
  MRP_ASSERT_TEXT(length <= pkt.frontBytes(), "numOfPackedBytes <= pkt->frontBytes()");
  pkt.sizeIs(length);
}

void Transmitter::flush(IntfId intf) {
  transmit(intf, false);
  transmit(intf, true);
}

void Transmitter::flush() {
  first_.contexts().walk([this](IntfId intf, const MrpTxPacketContext&) { flush(intf); });
}

void Transmitter::drop(IntfId intf) {
  first_.del(intf);
  second_.del(intf);
}

EthAddr Transmitter::sourceAddress(IntfId intf) const {
  const Platform::EthPhyIntfStatus* status = ports_.addresses.ethPhyIntfStatus(intf);
  return status ? status->addr : ports_.bridging.bridgeMacAddr();
}

}  // namespace Mrp
