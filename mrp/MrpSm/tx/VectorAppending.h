#pragma once

#include <cstring>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/MrpSm/env/Environment.h"
#include "mrp/MrpSm/pdu/EventPacking.h"
#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "mrp/MrpSm/pdu/MrpduLayout.h"

// The frequent part of the encoders: an attribute whose value follows in sequence joins the current
// vector of the open packet.
namespace Mrp {

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

// What both types of talker have: identity, and what its frames ask of the network.
template <class Talker>
auto& advertisementOf(Talker& talker) {
  if constexpr (requires { talker.talkerAdvertiseAttribute; }) {
    return talker.talkerAdvertiseAttribute;
  } else {
    return talker;
  }
}

// Whether the other fields of two talkers are alike.
template <class Talker>
bool alikeBesidesIdentity(Talker first, const Talker& next) {
  advertisementOf(first).streamId = advertisementOf(next).streamId;
  advertisementOf(first).frame.dmac = advertisementOf(next).frame.dmac;
  return first == next;
}

template <class Talker, std::uint8_t Type>
struct TalkerCodec : CodecBase<MrpApplication::msrp, Type> {
  using FirstValue = Talker;
  static constexpr const char* label = "streamId = 0x";
  static constexpr bool tracesKey = true;
  static bool inSequence(const Talker& first, const Talker& next, std::uint16_t n, bool whole) {
    const auto& f = advertisementOf(first);
    const auto& t = advertisementOf(next);
    return mrpTalkerValueInSequence(f.streamId, t.streamId, f.frame.dmac, t.frame.dmac, n) &&
           (!whole || alikeBesidesIdentity(first, next));
  }
};

template <>
struct Codec<MsrpTalkerAdvertiseAttribute> : TalkerCodec<MsrpTalkerAdvertiseAttribute, 1> {
  static constexpr const char* prefix = "mrpSendTalkerAdvertise on ";
};

template <>
struct Codec<MsrpTalkerFailedAttribute> : TalkerCodec<MsrpTalkerFailedAttribute, 2> {
  static constexpr const char* prefix = "mrpSendTalkerFailed on ";
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

// Appends the event of a value behind the `n` that the current vector has. Gives the octets by
// which the vector grew.
template <class Value>
std::size_t appendEvent(MrpTxPacketContext& context, const Value& value, std::uint8_t event,
                        unsigned n) {
  using C = Codec<Value>;
  if constexpr (C::fourPacked) {
    return mrpPackThreeAndFourPackedEvent(context, event, value.listenerEvent());
  } else {
    return packThreePackedEvent(context.vectorData(), C::firstValue, event, n);
  }
}

// Of AttributeListLength, at level 8.
void traceListLength(Platform::Trace& trace, std::uint16_t old, std::size_t added);

// What is packed when the current vector has grown by so many octets, and holds so many of events.
template <class C>
std::size_t grown(MrpTxPacketContext& context, std::size_t added, std::size_t events,
                  Platform::Trace& trace) {
  if constexpr (C::listLength) {
    const std::uint16_t old = addToListLength(context, added);
    if (trace.isOn(8)) traceListLength(trace, old, added);
    return endOfAttributeList(context);
  } else {
    return context.curVector() + kVectorHeaderSize + C::firstValue + events;
  }
}

// Whether the value follows in sequence in the current vector, which is one of its type.
template <class Value>
[[gnu::always_inline]] inline bool followsInSequence(const MrpTxPacketContext& context,
                                                     const Value& value, const Environment& env) {
  using C = Codec<Value>;
  typename C::FirstValue first;
  const std::uint8_t* vector = context.vectorData();
  std::memcpy(&first, vector + kVectorHeaderSize, sizeof first);
  return C::inSequence(first, value, mrpGetNumOfValues(vector),
                       env.config.wholeTalkersInSequence());
}

// The same of a packet that may be absent, or open for another type.
template <class Value>
[[gnu::always_inline]] inline bool joinsOpenVector(const MrpTxPacketContext* context,
                                                   const Value& value, const Environment& env) {
  return context && context->openType() == Codec<Value>::type &&
         followsInSequence(*context, value, env);
}

// Adds an event of a value that follows in sequence to the current vector. Gives the octets packed.
template <class Value>
[[gnu::always_inline]] inline std::size_t append(MrpTxPacketContext& context, const Value& value,
                                                 std::uint8_t event, const Environment& env) {
  const unsigned n = mrpGetNumOfValues(context.vectorData());
  const std::size_t added = appendEvent(context, value, event, n);
  return grown<Codec<Value>>(context, added, n / 3 + 1, env.trace);
}

}  // namespace Mrp
