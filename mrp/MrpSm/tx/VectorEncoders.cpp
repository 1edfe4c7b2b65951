// From one declaration to the octets of a port's open packet. The attribute joins the current
// vector when its value follows in sequence, else starts a new vector in the message, or a new
// message.

#include "mrp/MrpSm/tx/VectorEncoders.h"

#include <cstring>

#include "mrp/MrpSm/env/Environment.h"
#include "mrp/MrpSm/pdu/EventPacking.h"
#include "mrp/MrpSm/pdu/MrpduLayout.h"

namespace Mrp {
namespace {

// A codec says what distinguishes a type of value from the others here: its type, the part of it
// that is FirstValue, and the sequence test. Only the identity of a value is compared: an appended
// value is sent without its other fields, unless talkers are to be whole.
template <class Value>
struct Codec;

template <MrpApplication App, std::uint8_t Type>
struct CodecBase {
  static constexpr std::uint8_t type = Type;
  static constexpr std::size_t firstValue = applicationInfo(App).type(Type)->firstValue;
  static constexpr bool fourPacked = applicationInfo(App).type(Type)->fourPacked;
  static constexpr bool listLength = applicationInfo(App).listLength;
  static constexpr bool tracesKey = false;
};

// Whether `next` is the n-th value after `first`, its other fields like those of `first`.
template <class Talker>
bool isWholeTalker(Talker first, const Talker& next, std::uint64_t streamId, EthAddr dmac) {
  auto& identity = [](auto& talker) -> MsrpTalkerAdvertiseAttribute& {
    if constexpr (requires { talker.talkerAdvertiseAttribute; }) {
      return talker.talkerAdvertiseAttribute;
    } else {
      return talker;
    }
  }(first);
  identity.streamId = streamId;
  identity.frame.dmac = dmac;
  return first == next;
}

template <>
struct Codec<MsrpTalkerAdvertiseAttribute> : CodecBase<MrpApplication::msrp, 1> {
  using FirstValue = MsrpTalkerAdvertiseAttribute;
  static constexpr const char* prefix = "mrpSendTalkerAdvertise on ";
  static constexpr const char* label = "streamId = 0x";
  static constexpr bool tracesKey = true;
  static bool inSequence(const FirstValue& first, const FirstValue& next, std::uint16_t n,
                         bool whole) {
    return mrpTalkerValueInSequence(first.streamId, next.streamId, first.frame.dmac,
                                    next.frame.dmac, n) &&
           (!whole || isWholeTalker(first, next, next.streamId, next.frame.dmac));
  }
};

template <>
struct Codec<MsrpTalkerFailedAttribute> : CodecBase<MrpApplication::msrp, 2> {
  using FirstValue = MsrpTalkerFailedAttribute;
  static constexpr const char* prefix = "mrpSendTalkerFailed on ";
  static constexpr const char* label = "streamId = 0x";
  static constexpr bool tracesKey = true;
  static bool inSequence(const FirstValue& first, const FirstValue& next, std::uint16_t n,
                         bool whole) {
    const auto& f = first.talkerAdvertiseAttribute;
    const auto& t = next.talkerAdvertiseAttribute;
    return mrpTalkerValueInSequence(f.streamId, t.streamId, f.frame.dmac, t.frame.dmac, n) &&
           (!whole || isWholeTalker(first, next, t.streamId, t.frame.dmac));
  }
};

template <>
struct Codec<MsrpListenerAttribute> : CodecBase<MrpApplication::msrp, 3> {
  using FirstValue = MsrpListenerStreamAttribute;
  static constexpr const char* prefix = "mrpSendListenerVector on ";
  static constexpr const char* label = "listenerVector = ";
  static bool inSequence(const FirstValue& first, const MsrpListenerAttribute& next,
                         std::uint16_t n, bool) {
    return first.streamId + n == next.streamId;
  }
};

template <>
struct Codec<MsrpDomainAttribute> : CodecBase<MrpApplication::msrp, 4> {
  using FirstValue = MsrpDomainAttribute;
  static constexpr const char* prefix = "mrpSendDomainVector on ";
  static constexpr const char* label = "domainVector = ";
  static bool inSequence(const FirstValue& first, const FirstValue& next, std::uint16_t n, bool) {
    return mrpDomainValueInSequence(first.srClassId, next.srClassId, first.srClassPriority,
                                    next.srClassPriority, n);
  }
};

template <>
struct Codec<MvrpVlanAttribute> : CodecBase<MrpApplication::mvrp, 1> {
  using FirstValue = MvrpVlanAttribute;
  static constexpr const char* prefix = "mrpSendVlanVector on ";
  static constexpr const char* label = "vlanId = ";
  static bool inSequence(const FirstValue& first, const FirstValue& next, std::uint16_t n, bool) {
    return std::uint32_t{first.vlanId} + n == next.vlanId;
  }
};

template <class Value>
std::size_t appendEvent(MrpTxPacketContext& context, const Value& value, std::uint8_t event) {
  using C = Codec<Value>;
  if constexpr (C::fourPacked) {
    return mrpPackThreeAndFourPackedEvent(context, event, value.listenerEvent());
  } else {
    return packThreePackedEvent(context.vectorData(), C::firstValue, event);
  }
}

template <class C>
void openMessage(MrpTxPacketContext& context, Platform::Trace& trace) {
  if constexpr (C::listLength) {
    mrpCreateNewMsrpHeader(context, C::type, trace);
  } else {
    mrpCreateNewMvrpHeader(context, C::type, trace);
  }
}

// Moves to the place right after the current vector.
template <class C>
void openVector(MrpTxPacketContext& context) {
  if constexpr (C::listLength) {
    context.curVectorIs(endOfAttributeList(context));
  } else {
    context.curVectorIs(context.curVector() + mvrpGetSizeOfVector(context.vectorData()));
  }
}

[[gnu::noinline]] void traceListLength(Platform::Trace& trace, std::uint16_t old,
                                       std::size_t added) {
  MRP_TRACE(trace, 8, " Cur Attribute List Length encoded = " << old << " Added bytes = " << added);
  MRP_TRACE(trace, 8,
            " Updated Attribute List Length encoded = " << static_cast<std::uint16_t>(old + added));
}

template <class C>
bool isInMessage(const MrpTxPacketContext& context) {
  return context.hasMessage() && *context.messageData() == C::type;
}

template <class Value>
bool followsInSequence(const MrpTxPacketContext& context, const Value& value,
                       const Environment& env) {
  using C = Codec<Value>;
  if (!isInMessage<C>(context)) return false;
  typename C::FirstValue first;
  const std::uint8_t* vector = context.vectorData();
  std::memcpy(&first, vector + kVectorHeaderSize, sizeof first);
  return C::inSequence(first, value, mrpGetNumOfValues(vector),
                       env.config.wholeTalkersInSequence());
}

// What is packed when the current vector has grown by so many octets.
template <class C>
std::size_t grown(MrpTxPacketContext& context, std::size_t added, Platform::Trace& trace) {
  if constexpr (C::listLength) {
    const std::uint16_t old = addToListLength(context, added);
    if (trace.isOn(8)) traceListLength(trace, old, added);
    return endOfAttributeList(context);
  } else {
    return context.curVector() + mvrpGetSizeOfVector(context.vectorData());
  }
}

// Opens a vector behind the current one of its message, or in a message of its own.
template <class Value>
[[gnu::noinline]] std::size_t addVector(MrpTxPacketContext& context, const Value& value,
                                        std::uint8_t event, const Environment& env) {
  using C = Codec<Value>;
  if (event != kLeaveAllEvent && isInMessage<C>(context)) {
    openVector<C>(context);
  } else {
    openMessage<C>(context, env.trace);
    context.currentAttrTypeIs(C::type);
  }
  return grown<C>(context, writeVector(context, value, event, env), env.trace);
}

}  // namespace

template <class Value>
std::size_t writeVector(MrpTxPacketContext& context, const Value& value, std::uint8_t event,
                        const Environment& env) {
  constexpr std::size_t firstValue = Codec<Value>::firstValue;
  std::uint8_t* vector = context.vectorData();
  if (event == kLeaveAllEvent) {
    writeU16(vector, kVectorHeaderLeaveAll);
    nullAttribute(vector + kVectorHeaderSize, firstValue);
    return kVectorHeaderSize + firstValue;
  }
  const bool leaveAll = env.context->sendTxLvAll();
  writeU16(vector, leaveAll ? kVectorHeaderLeaveAll : std::uint16_t{0});
  env.context->sendTxLvAllIs(false);
  if (leaveAll) env.eventSent({context.intf(), Codec<Value>::type, 0}, kLeaveAllEvent);
  std::memcpy(vector + kVectorHeaderSize, &value, firstValue);
  return kVectorHeaderSize + firstValue + appendEvent(context, value, event);
}

template <class Value>
std::size_t addToPacket(MrpTxPacketContext& context, const Value& value, std::uint8_t event,
                        const Environment& env) {
  if (event == kLeaveAllEvent || !followsInSequence(context, value, env)) {
    return addVector(context, value, event, env);
  }
  return grown<Codec<Value>>(context, appendEvent(context, value, event), env.trace);
}

template <class Value>
void traceSending(Platform::Trace& trace, const Value& value, std::uint8_t event, IntfId intf) {
  MRP_TRACE(trace, 8, Codec<Value>::prefix << intf << " event=" << +event);
  if constexpr (Codec<Value>::tracesKey) {
    MRP_TRACE(trace, 8,
              Codec<Value>::label << std::hex << keyOf(value) << std::dec << " " << value);
  } else {
    MRP_TRACE(trace, 8, Codec<Value>::label << value);
  }
}

#define MRP_ENCODER(Value)                                                          \
  template std::size_t addToPacket(MrpTxPacketContext&, const Value&, std::uint8_t, \
                                   const Environment&);                             \
  template std::size_t writeVector(MrpTxPacketContext&, const Value&, std::uint8_t, \
                                   const Environment&);                             \
  template void traceSending(Platform::Trace&, const Value&, std::uint8_t, IntfId);
MRP_ENCODER(MsrpTalkerAdvertiseAttribute)
MRP_ENCODER(MsrpTalkerFailedAttribute)
MRP_ENCODER(MsrpListenerAttribute)
MRP_ENCODER(MsrpDomainAttribute)
MRP_ENCODER(MvrpVlanAttribute)
#undef MRP_ENCODER

}  // namespace Mrp
