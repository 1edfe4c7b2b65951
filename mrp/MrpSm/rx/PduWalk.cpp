// Walk of one MRPDU (IEEE 802.1Q 10.8.1): version, messages, attribute lists, vector headers. A
// fault is counted at each step that finds it and abandons what follows; what was staged stays.

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/rx/FutureVersion.h"
#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

using Platform::PktReader;

constexpr std::uint8_t kSupportedVersion = 0;

bool atEndMark(const Pkt& pkt) { return pkt.size() >= kEndMarkSize && readU16(pkt.data()) == 0; }

}  // namespace

MrpParseStatus MrpSm::malformed() {
  mrpCounters_->numOfMalformedPktsInc();
  return mrpParseMalformed;
}

void MrpSm::parseMrpdu(Pkt& pkt) {
  MRP_TRACE(trace(), 8, "parseMrpdu payload= " << pkt.size() << " bytes! ");
  PktReader reader(pkt);
  if (const auto version = reader.u8(); version && *version != kSupportedVersion) {
    MRP_TRACE(trace(), 4,
              "MRPDU protocol version" << +*version
                                       << " is greater than the current supported version "
                                       << +kSupportedVersion);
    mrpCounters_->numOfIncorrectPduVersionInc();
    rxFutureVersionPdu() = true;
  }
  MrpParseStatus status = mrpParseContinue;
  while (status == mrpParseContinue && reader.left() > 0) status = parseMessage(pkt);
  recycledPkt_ = false;
  MRP_TRACE(trace(), 8, "End of Mark/End of Packet reached, coming out \n");
  MRP_TRACE(trace(), 8, "parse status = " << status);
}

MrpParseStatus MrpSm::parseMessage(Pkt& pkt) {
  MRP_TRACE(trace(), 8, "MrpSm::parseMessage()");
  const MrpApplication application = mrpLib_->application();
  const bool msrp = application == MrpApplication::msrp;
  PktReader reader(pkt);
  if (reader.left() < (msrp ? kMsrpMessageHeaderSize : kMvrpMessageHeaderSize)) return malformed();
  parseContext_->attributeTypeIs(*reader.u8());
  parseContext_->attributeLengthIs(*reader.u8());
  if (msrp) {
    const std::uint16_t listLength = *reader.u16();
    parseContext_->attributeListBytesLeftIs(listLength);
    MRP_TRACE(trace(), 8, "AttributeListLength = " << listLength);
    if (listLength == 0) return malformed();
  }
  const std::uint8_t type = parseContext_->attributeType();
  const std::uint8_t length = parseContext_->attributeLength();
  if (length == mrpSizeOfAttribute(type, application, trace())) {
    const MrpParseStatus status = parseAttributeList(pkt);
    if (status != mrpParseContinue) return status;
  } else {
    MRP_TRACE(trace(), 4,
              " ######## Invalid attribute length = " << +length
                                                      << " or Invalid attribute type = " << +type);
    if (!rxFutureVersionPdu()) return malformed();
    const MrpParseStatus status = skipMessageDueToFutureProtocolVersion(pkt);
    if (status != mrpParseContinue) return status;
  }
  return atEndMark(pkt) ? mrpParseEndOfPdu : mrpParseContinue;
}

// The end mark is looked for whatever the last vector's status was.
MrpParseStatus MrpSm::parseAttributeList(Pkt& pkt) {
  constexpr std::size_t kLeastVector = 3;
  MrpParseStatus status = mrpParseContinue;
  do {
    status = parseVectorAttribute(pkt);
  } while (!atEndMark(pkt) && status == mrpParseContinue && pkt.size() >= kLeastVector);
  if (!atEndMark(pkt)) return malformed();
  if (mrpLib_->application() == MrpApplication::msrp &&
      parseContext_->attributeListBytesLeft() != kEndMarkSize) {
    return malformed();
  }
  pkt.headDel(kEndMarkSize);
  return status;
}

MrpParseStatus MrpSm::parseVectorAttribute(Pkt& pkt) {
  PktReader reader(pkt);
  const auto header = reader.peekU16();
  if (!header) return malformed();
  const auto numberOfValues = static_cast<std::uint16_t>(*header & kNumOfValuesMask);
  if (*header & kVectorHeaderLeaveAll) {
    MRP_TRACE(trace(), 8, " leaveAllEvent is True");
    parseContext_->leaveAllIs(1);
    if (!recycledPkt_) mrpRxLeaveAllIs(parseContext_->attributeType(), true);
  } else {
    if (numberOfValues == 0) {
      parseContext_->attributeListBytesLeftIs(0);
      return malformed();
    }
    parseContext_->leaveAllIs(0);
  }
  parseContext_->numberOfValuesIs(numberOfValues);
  reader.skip(kVectorHeaderSize);
  switch (mrpLib_->application()) {
    case MrpApplication::msrp:
      return parseMsrpVector(pkt);
    case MrpApplication::mvrp:
      return parseMvrpVector(pkt);
    default:
      MRP_TRACE(trace(), 4, "Application " << mrpLib_->application() << " not supported");
      mrpCounters_->numOfUnknownApplicationInc();
      return mrpParseContinue;
  }
}

// Passes over a message that this version cannot read. An MVRP message has no length, so its
// vectors are walked; the length of one is taken modulo 256, and a length of 0 would lead nowhere.
MrpParseStatus MrpSm::skipMessageDueToFutureProtocolVersion(Pkt& pkt) {
  PktReader reader(pkt);
  if (mrpLib_->application() == MrpApplication::msrp) {
    reader.skip(parseContext_->attributeListBytesLeft());
  } else if (mrpLib_->application() == MrpApplication::mvrp) {
    do {
      const auto header = reader.peekU16();
      if (!header) {
        reader.skip(reader.left());
        return mrpParseContinue;
      }
      const unsigned n = *header & kNumOfValuesMask;
      const unsigned events = n == 0 ? 0 : (n - 1) / 3 + 1;
      const auto length =
          static_cast<std::uint8_t>(events + parseContext_->attributeLength() + kVectorHeaderSize);
      if (length == 0) return malformed();
      reader.skip(length);
    } while (reader.left() > 0 && !atEndMark(pkt));
    reader.skip(kEndMarkSize);
  }
  return mrpParseContinue;
}

}  // namespace Mrp
