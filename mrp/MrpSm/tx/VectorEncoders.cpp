// From one declaration to the octets of a port's open packet. The attribute joins the current
// vector when its value follows in sequence, else starts a new vector in the message, or a new
// message.

#include "mrp/MrpSm/tx/VectorEncoders.h"

#include "mrp/MrpSm/tx/VectorAppending.h"

namespace Mrp {
namespace {

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

template <class C>
bool isInMessage(const MrpTxPacketContext& context) {
  return context.hasMessage() && *context.messageData() == C::type;
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
  const std::size_t added = writeVector(context, value, event, env);
  const std::size_t events = threePackedOctets(mrpGetNumOfValues(context.vectorData()));
  return grown<C>(context, added, events, env.trace);
}

}  // namespace

void traceListLength(Platform::Trace& trace, std::uint16_t old, std::size_t added) {
  MRP_TRACE(trace, 8, " Cur Attribute List Length encoded = " << old << " Added bytes = " << added);
  MRP_TRACE(trace, 8,
            " Updated Attribute List Length encoded = " << static_cast<std::uint16_t>(old + added));
}

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
  return kVectorHeaderSize + firstValue + appendEvent(context, value, event, 0);
}

template <class Value>
std::size_t addToPacket(MrpTxPacketContext& context, const Value& value, std::uint8_t event,
                        const Environment& env) {
  const bool joins = event != kLeaveAllEvent && isInMessage<Codec<Value>>(context) &&
                     followsInSequence(context, value, env);
  return joins ? append(context, value, event, env) : addVector(context, value, event, env);
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
