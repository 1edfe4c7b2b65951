// Walk of one MRPDU (IEEE 802.1Q 10.8.1): version, messages, attribute lists, vector headers. A
// fault is counted at each step that finds it and abandons what follows; what was staged stays.

#include "mrp/MrpSm/pdu/MrpduLayout.h"
#include "mrp/MrpSm/rx/FutureVersion.h"
#include "mrp/MrpSm/rx/Receiver.h"

namespace Mrp {
namespace {

using Platform::PktReader;

constexpr std::uint8_t kSupportedVersion = 0;

bool atEndMark(const Pkt& pkt) { return pkt.size() >= kEndMarkSize && readU16(pkt.data()) == 0; }

}  // namespace

MrpParseStatus Receiver::malformed() {
  env_.counters->numOfMalformedPktsInc();
  const MrpParseContext& at = *env_.context;
  env_.discarded(MrpObserver::Reason::malformed, {at.intfId(), at.attributeType(), 0});
  return mrpParseMalformed;
}

void Receiver::parseMrpdu(Pkt& pkt) {
  MRP_TRACE(env_.trace, 8, "parseMrpdu payload= " << pkt.size() << " bytes! ");
  PktReader reader(pkt);
  if (const auto version = reader.u8(); version && *version != kSupportedVersion) {
    MRP_TRACE(env_.trace, 4,
              "MRPDU protocol version" << +*version
                                       << " is greater than the current supported version "
                                       << +kSupportedVersion);
    env_.counters->numOfIncorrectPduVersionInc();
    env_.discarded(MrpObserver::Reason::version, {env_.context->intfId(), 0, 0});
    rxFutureVersionPdu() = true;
  }
  MrpParseStatus status = mrpParseContinue;
  while (status == mrpParseContinue && reader.left() > 0) status = parseMessage(pkt);
  recycled_ = false;
  MRP_TRACE(env_.trace, 8, "End of Mark/End of Packet reached, coming out \n");
  MRP_TRACE(env_.trace, 8, "parse status = " << status);
}

MrpParseStatus Receiver::parseMessage(Pkt& pkt) {
  MRP_TRACE(env_.trace, 8, "MrpSm::parseMessage()");
  const bool hasListLength = env_.info.listLength;
  PktReader reader(pkt);
  if (reader.left() < (hasListLength ? kMsrpMessageHeaderSize : kMvrpMessageHeaderSize)) {
    return malformed();
  }
  env_.context->attributeTypeIs(*reader.u8());
  env_.context->attributeLengthIs(*reader.u8());
  if (hasListLength) {
    const std::uint16_t listLength = *reader.u16();
    env_.context->attributeListBytesLeftIs(listLength);
    MRP_TRACE(env_.trace, 8, "AttributeListLength = " << listLength);
    if (listLength == 0) return malformed();
  }
  const std::uint8_t type = env_.context->attributeType();
  const std::uint8_t length = env_.context->attributeLength();
  if (length == mrpSizeOfAttribute(type, env_.application, env_.trace)) {
    const MrpParseStatus status = parseAttributeList(pkt);
    if (status != mrpParseContinue) return status;
  } else {
    MRP_TRACE(env_.trace, 4,
              " ######## Invalid attribute length = " << +length
                                                      << " or Invalid attribute type = " << +type);
    if (!rxFutureVersionPdu()) return malformed();
    const MrpParseStatus status = skipMessageDueToFutureProtocolVersion(pkt);
    if (status != mrpParseContinue) return status;
  }
  return atEndMark(pkt) ? mrpParseEndOfPdu : mrpParseContinue;
}

// The end mark is looked for whatever the last vector's status was.
MrpParseStatus Receiver::parseAttributeList(Pkt& pkt) {
  constexpr std::size_t kLeastVector = 3;
  MrpParseStatus status = mrpParseContinue;
  do {
    status = parseVectorAttribute(pkt);
  } while (!atEndMark(pkt) && status == mrpParseContinue && pkt.size() >= kLeastVector);
  if (!atEndMark(pkt)) return malformed();
  if (env_.info.listLength && env_.context->attributeListBytesLeft() != kEndMarkSize) {
    return malformed();
  }
  pkt.headDel(kEndMarkSize);
  return status;
}

MrpParseStatus Receiver::parseVectorAttribute(Pkt& pkt) {
  PktReader reader(pkt);
  const auto header = reader.peekU16();
  if (!header) return malformed();
  const auto numberOfValues = static_cast<std::uint16_t>(*header & kNumOfValuesMask);
  if (*header & kVectorHeaderLeaveAll) {
    MRP_TRACE(env_.trace, 8, " leaveAllEvent is True");
    env_.context->leaveAllIs(1);
    const MrpParseContext& at = *env_.context;
    const MrpAttribute all{at.intfId(), at.attributeType(), 0};
    env_.observe(&MrpObserver::event,
                 {MrpObserver::Direction::received, true, kLeaveAllEvent, all});
    if (recycled_) {
      env_.discarded(MrpObserver::Reason::recycled, all);
    } else {
      rxLeaveAllIs(at.attributeType(), true);
    }
  } else {
    if (numberOfValues == 0) {
      env_.context->attributeListBytesLeftIs(0);
      return malformed();
    }
    env_.context->leaveAllIs(0);
  }
  env_.context->numberOfValuesIs(numberOfValues);
  reader.skip(kVectorHeaderSize);
  if (!env_.info.types.empty()) return parseVector(pkt);
  MRP_TRACE(env_.trace, 4, "Application " << env_.application << " not supported");
  env_.counters->numOfUnknownApplicationInc();
  env_.discarded(MrpObserver::Reason::unknownApplication, {env_.context->intfId(), 0, 0});
  return mrpParseContinue;
}

// Passes over a message that this version cannot read. One without a list length has its
// vectors are walked; the length of one is taken modulo 256, and a length of 0 would lead nowhere.
MrpParseStatus Receiver::skipMessageDueToFutureProtocolVersion(Pkt& pkt) {
  PktReader reader(pkt);
  if (env_.info.listLength) {
    reader.skip(env_.context->attributeListBytesLeft());
  } else if (!env_.info.types.empty()) {
    do {
      const auto header = reader.peekU16();
      if (!header) {
        reader.skip(reader.left());
        return mrpParseContinue;
      }
      const unsigned n = *header & kNumOfValuesMask;
      const auto length = static_cast<std::uint8_t>(
          threePackedOctets(n) + env_.context->attributeLength() + kVectorHeaderSize);
      if (length == 0) return malformed();
      reader.skip(length);
    } while (reader.left() > 0 && !atEndMark(pkt));
    reader.skip(kEndMarkSize);
  }
  return mrpParseContinue;
}

}  // namespace Mrp
