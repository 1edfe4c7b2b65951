#include "mrp/MrpSm/pdu/MrpduLayout.h"

namespace Mrp {
namespace {

std::uint8_t tracedLength(MrpApplication application, std::uint8_t attributeType,
                          Platform::Trace& trace) {
  const std::uint8_t length = attributeLength(application, attributeType);
  if (length == 0) MRP_TRACE(trace, 4, " Invalid attribute type: " << unsigned{attributeType});
  return length;
}

// Writes AttributeType and AttributeLength of a new message; neither when the type is unknown.
void writeTypeAndLength(std::uint8_t* message, MrpApplication application,
                        std::uint8_t attributeType, Platform::Trace& trace) {
  const std::uint8_t length = attributeLength(application, attributeType);
  if (length == 0) {
    MRP_TRACE(trace, 4, " Invalid Attribute " << unsigned{attributeType} << " to be encoded");
    return;
  }
  message[0] = attributeType;
  message[1] = length;
}

}  // namespace

std::uint8_t mrpSizeOfMsrpAttribute(std::uint8_t attributeType, Platform::Trace& trace) {
  return tracedLength(MrpApplication::msrp, attributeType, trace);
}

std::uint8_t mrpSizeOfMvrpAttribute(std::uint8_t attributeType, Platform::Trace& trace) {
  return tracedLength(MrpApplication::mvrp, attributeType, trace);
}

std::uint8_t mrpSizeOfAttribute(std::uint8_t attributeType, MrpApplication application,
                                Platform::Trace& trace) {
  if (application == MrpApplication::msrp) return mrpSizeOfMsrpAttribute(attributeType, trace);
  if (application == MrpApplication::mvrp) return mrpSizeOfMvrpAttribute(attributeType, trace);
  MRP_TRACE(trace, 4, " Invalid application type: " << application);
  return 0;
}

void mrpCreateNewMsrpHeader(MrpTxPacketContext& context, std::uint8_t attributeType,
                            Platform::Trace& trace) {
  std::size_t start = 0;
  if (context.hasMessage()) {
    const std::size_t end = endOfAttributeList(context);
    writeU16(context.pkt()->data() + end, 0);
    addToListLength(context, kEndMarkSize);
    start = end + kEndMarkSize;
  }
  context.curMessageIs(start);
  context.curVectorIs(start + kMsrpMessageHeaderSize);
  writeTypeAndLength(context.messageData(), MrpApplication::msrp, attributeType, trace);
  writeU16(context.messageData() + kAttributeListLengthOffset, 0);
}

void mrpCreateNewMvrpHeader(MrpTxPacketContext& context, std::uint8_t attributeType,
                            Platform::Trace& trace) {
  std::size_t start = 0;
  if (context.hasMessage()) {
    // Measured from the message, not from the current vector: see the declaration.
    const std::size_t end =
        context.curMessage() + kMvrpMessageHeaderSize + mvrpGetSizeOfVector(context.vectorData());
    writeU16(context.pkt()->data() + end, 0);
    start = end + kEndMarkSize;
  }
  context.curMessageIs(start);
  context.curVectorIs(start + kMvrpMessageHeaderSize);
  writeTypeAndLength(context.messageData(), MrpApplication::mvrp, attributeType, trace);
}

}  // namespace Mrp
