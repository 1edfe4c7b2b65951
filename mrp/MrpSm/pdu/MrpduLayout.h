#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "mrp/types/Applications.h"
#include "mrp/types/BigEndian.h"
#include "platform/log/Trace.h"
#include "platform/packet/EthAddr.h"

// The MRPDU as it is written in place (IEEE 802.1Q-2018 10.8.1; AttributeListLength of MSRP in
// 35.2.2.6). Every number is big-endian.
//
//   MSRP message: AttributeType 1, AttributeLength 1, AttributeListLength 2, vectors, end mark 2
//   MVRP message: AttributeType 1, AttributeLength 1, vectors, end mark 2
//   vector:       header 2, FirstValue, three-packed events, four-packed events (listener only)
//
// AttributeListLength counts the vectors and, once the message is closed, its end mark.
namespace Mrp {

// Vector header: LeaveAllEvent in the top three bits, NumberOfValues in the rest.
inline constexpr std::uint16_t kVectorHeaderLeaveAll = 0x2000;
inline constexpr std::uint16_t kNumOfValuesMask = 0x1FFF;

inline constexpr std::size_t kVectorHeaderSize = 2;
inline constexpr std::size_t kEndMarkSize = 2;
inline constexpr std::size_t kMsrpMessageHeaderSize = 4;
inline constexpr std::size_t kMvrpMessageHeaderSize = 2;
inline constexpr std::size_t kAttributeListLengthOffset = 2;  // in an MSRP message

// AttributeLength, that is the octets of FirstValue; 0 for an unknown application or type.
constexpr std::uint8_t attributeLength(MrpApplication application, std::uint8_t attributeType) {
  const AttributeTypeInfo* info = applicationInfo(application).type(attributeType);
  return info ? info->firstValue : std::uint8_t{0};
}

// The same with a trace at level 4 of what is unknown.
std::uint8_t mrpSizeOfMsrpAttribute(std::uint8_t attributeType, Platform::Trace& trace);
std::uint8_t mrpSizeOfMvrpAttribute(std::uint8_t attributeType, Platform::Trace& trace);
std::uint8_t mrpSizeOfAttribute(std::uint8_t attributeType, MrpApplication application,
                                Platform::Trace& trace);

inline std::uint16_t mrpGetNumOfValues(const std::uint8_t* vectorHeader) {
  return readU16(vectorHeader) & kNumOfValuesMask;
}

// Octets that the packed events of `n` values take.
constexpr std::size_t threePackedOctets(std::size_t n) { return (n + 2) / 3; }
constexpr std::size_t fourPackedOctets(std::size_t n) { return (n + 3) / 4; }

// Octets of the MVRP vector: 0 for an end mark.
inline std::size_t mvrpGetSizeOfVector(const std::uint8_t* vector) {
  const unsigned n = mrpGetNumOfValues(vector);
  if (n > 0) return (n - 1) / 3 + 5;
  return readU16(vector) & kVectorHeaderLeaveAll ? 4 : 0;
}

// The FirstValue of a vector that is a LeaveAll alone.
inline void nullAttribute(std::uint8_t* buffer, std::size_t length) {
  std::memset(buffer, 0, length);
}

// Close the current message, if there is one, with its end mark and open a new one for
// `attributeType` after it, the current vector at the place of its first. An unknown type is traced
// at level 4 and leaves type and length octets as they are.
void mrpCreateNewMsrpHeader(MrpTxPacketContext& context, std::uint8_t attributeType,
                            Platform::Trace& trace);
// The end mark is placed as though the current vector were the first of its message; when it is
// not, the mark and the new message land inside the earlier vectors. That is intended.
void mrpCreateNewMvrpHeader(MrpTxPacketContext& context, std::uint8_t attributeType,
                            Platform::Trace& trace);

// Octets packed so far, from the packet's data start to the end of the current message's attribute
// list (MSRP) or of the current vector (MVRP); 0 when there is none, or no packet.
inline std::size_t endOfAttributeList(const MrpTxPacketContext& context) {
  return context.curMessage() + kMsrpMessageHeaderSize +
         readU16(context.messageData() + kAttributeListLengthOffset);
}
// Counts `added` octets in the AttributeListLength of the current message; gives what it was.
inline std::uint16_t addToListLength(MrpTxPacketContext& context, std::size_t added) {
  std::uint8_t* listLength = context.messageData() + kAttributeListLengthOffset;
  const std::uint16_t old = readU16(listLength);
  writeU16(listLength, static_cast<std::uint16_t>(old + added));
  return old;
}
inline std::size_t msrpGetNumOfPackedBytes(const MrpTxPacketContext& context) {
  return context.pkt() && context.hasMessage() ? endOfAttributeList(context) : 0;
}
inline std::size_t mvrpGetNumOfPackedBytes(const MrpTxPacketContext& context) {
  if (!context.pkt() || !context.hasVector()) return 0;
  return context.curVector() + mvrpGetSizeOfVector(context.vectorData());
}
inline std::size_t mrpGetNumOfPackedBytes(const MrpTxPacketContext& context,
                                          MrpApplication application) {
  if (application == MrpApplication::msrp) return msrpGetNumOfPackedBytes(context);
  if (application == MrpApplication::mvrp) return mvrpGetNumOfPackedBytes(context);
  return 0;
}

// Whether `next` is the n-th value after `first`. Stream IDs wrap at 64 bits; destination addresses
// do not wrap at 48.
constexpr bool mrpTalkerValueInSequence(std::uint64_t firstStreamId, std::uint64_t nextStreamId,
                                        const Platform::EthAddr& firstDmac,
                                        const Platform::EthAddr& nextDmac, std::uint16_t n) {
  return firstStreamId + n == nextStreamId && firstDmac.number() + n == nextDmac.number();
}

// The same for a domain; neither number wraps at 8 bits.
constexpr bool mrpDomainValueInSequence(std::uint8_t firstClassId, std::uint8_t nextClassId,
                                        std::uint8_t firstPriority, std::uint8_t nextPriority,
                                        std::uint16_t n) {
  return firstClassId + n == nextClassId && firstPriority + n == nextPriority;
}

}  // namespace Mrp
