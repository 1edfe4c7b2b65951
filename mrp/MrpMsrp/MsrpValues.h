#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "mrp/types/BigEndian.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/TextForm.h"
#include "platform/Export.h"
#include "platform/packet/EthAddr.h"

// The values that MSRP declares (IEEE 802.1Q-2018 35.2.2.8 and 35.2.2.9). Every record is a packed
// sequence of wire octets: its memory image is what is sent as FirstValue, staged on receive and
// stored in the database. Numbers are big-endian and read as host numbers.
namespace Mrp {

using Platform::EthAddr;

// Where a stream's frames go (35.2.2.8.3).
struct DataFrameParameters {
  EthAddr dmac;                     // destination address of the stream
  BigEndian<std::uint16_t> vlanId;  // VLAN of the stream, 12 bits used

  friend constexpr bool operator==(const DataFrameParameters&,
                                   const DataFrameParameters&) = default;
};

// The traffic a stream may send in one class measurement interval (35.2.2.8.4).
struct Tspec {
  BigEndian<std::uint16_t> maxFrameSize;       // octets
  BigEndian<std::uint16_t> maxIntervalFrames;  // frames

  friend constexpr bool operator==(const Tspec&, const Tspec&) = default;
};

// Priority in bits 7..5, rank in bit 4, the rest zero (35.2.2.8.5). Rank 0 is the more important
// stream. Ordered by the octet.
class PriorityAndRank {
 public:
  constexpr PriorityAndRank() = default;
  // Takes the low three bits of `priority` and the low bit of `rank`.
  static constexpr PriorityAndRank create(std::uint8_t priority, std::uint8_t rank) {
    PriorityAndRank p;
    p.octet_ = static_cast<std::uint8_t>((priority & 7) << 5 | (rank & 1) << 4);
    return p;
  }
  // Drops the reserved bits of an octet as it was received.
  static constexpr PriorityAndRank fromReceived(std::uint8_t octet) {
    return create(static_cast<std::uint8_t>(octet >> 5), (octet & 0x10) != 0);
  }

  constexpr std::uint8_t priority() const { return static_cast<std::uint8_t>(octet_ >> 5); }
  constexpr std::uint8_t rank() const { return octet_ >> 4 & 1; }
  constexpr std::uint8_t octet() const { return octet_; }

  friend constexpr auto operator<=>(const PriorityAndRank&, const PriorityAndRank&) = default;

 private:
  std::uint8_t octet_ = 0;
};

// Where and why a stream failed (35.2.2.8.7).
struct FailureInformation {
  BigEndian<std::uint64_t> bridgeId;  // bridge that changed the advertise into a failure
  std::uint8_t failureCode = 0;       // reason, 35.2.2.8.7

  friend constexpr bool operator==(const FailureInformation&, const FailureInformation&) = default;
};

// Attribute type 1 (35.2.2.8).
struct MsrpTalkerAdvertiseAttribute {
  BigEndian<std::uint64_t> streamId;  // talker's address, then a number the talker chose
  DataFrameParameters frame;
  Tspec tSpec;
  PriorityAndRank priorityAndRank;
  BigEndian<std::uint32_t> accumulatedLatency;  // worst case, nanoseconds

  friend constexpr bool operator==(const MsrpTalkerAdvertiseAttribute&,
                                   const MsrpTalkerAdvertiseAttribute&) = default;
};

// Attribute type 2 (35.2.2.8).
struct MsrpTalkerFailedAttribute {
  MsrpTalkerAdvertiseAttribute talkerAdvertiseAttribute;
  FailureInformation failureInformation;

  friend constexpr bool operator==(const MsrpTalkerFailedAttribute&,
                                   const MsrpTalkerFailedAttribute&) = default;
};

// FirstValue of attribute type 3 (35.2.2.8.2).
struct MsrpListenerStreamAttribute {
  BigEndian<std::uint64_t> streamId;

  friend constexpr bool operator==(const MsrpListenerStreamAttribute&,
                                   const MsrpListenerStreamAttribute&) = default;
};

// A listener declaration as it is stored: its number in four octets.
class StoredListenerEvent {
 public:
  constexpr StoredListenerEvent() = default;
  constexpr StoredListenerEvent(MsrpListenerEvent event)
      : number_(static_cast<std::uint8_t>(event)) {}
  constexpr operator MsrpListenerEvent() const {
    return static_cast<MsrpListenerEvent>(static_cast<std::uint8_t>(number_));
  }

 private:
  BigEndian<std::uint32_t> number_;
};

// Attribute type 3. Only the stream ID is FirstValue; the listener event travels in the
// FourPackedEvents of the vector.
struct MsrpListenerAttribute {
  BigEndian<std::uint64_t> streamId;
  StoredListenerEvent storedEvent;

  constexpr MsrpListenerEvent listenerEvent() const { return storedEvent; }
  constexpr void listenerEventIs(MsrpListenerEvent event) { storedEvent = event; }

  friend constexpr bool operator==(const MsrpListenerAttribute&,
                                   const MsrpListenerAttribute&) = default;
};

// Attribute type 4 (35.2.2.9).
struct MsrpDomainAttribute {
  std::uint8_t srClassId = 0;           // 6 is SR class A, 5 is B
  std::uint8_t srClassPriority = 0;     // priority code point, 0..7
  BigEndian<std::uint16_t> srClassVID;  // default VLAN of the class, 12 bits used

  friend constexpr bool operator==(const MsrpDomainAttribute&,
                                   const MsrpDomainAttribute&) = default;
};

template <class T, std::size_t Size>
inline constexpr bool isWireImage =
    sizeof(T) == Size &&
    alignof(T) == 1 && std::is_trivially_copyable_v<T>&& std::is_standard_layout_v<T>;
static_assert(isWireImage<DataFrameParameters, 8> && isWireImage<Tspec, 4>);
static_assert(isWireImage<PriorityAndRank, 1> && isWireImage<FailureInformation, 9>);
static_assert(isWireImage<MsrpTalkerAdvertiseAttribute, 25>);
static_assert(isWireImage<MsrpTalkerFailedAttribute, 34>);
static_assert(isWireImage<MsrpListenerStreamAttribute, 8>);
static_assert(isWireImage<MsrpListenerAttribute, 12>);
static_assert(isWireImage<MsrpDomainAttribute, 4>);

// The key that identifies a declaration within its port and attribute type. Talker advertise,
// talker failed and listener of one stream share a key; so do two domains of one SR class.
constexpr std::uint64_t keyOf(const MsrpTalkerAdvertiseAttribute& v) { return v.streamId; }
constexpr std::uint64_t keyOf(const MsrpTalkerFailedAttribute& v) {
  return v.talkerAdvertiseAttribute.streamId;
}
constexpr std::uint64_t keyOf(const MsrpListenerStreamAttribute& v) { return v.streamId; }
constexpr std::uint64_t keyOf(const MsrpListenerAttribute& v) { return v.streamId; }
constexpr std::uint64_t keyOf(const MsrpDomainAttribute& v) { return v.srClassId; }

// Text forms, for instance "Value('Mrp::Tspec', ** {'maxFrameSize': 64, 'maxIntervalFrames': 1})";
// PriorityAndRank and MsrpListenerStreamAttribute print as the bare number of their octets.
MRP_API std::string stringValue(const DataFrameParameters& value);
MRP_API std::string stringValue(const Tspec& value);
MRP_API std::string stringValue(const PriorityAndRank& value);
MRP_API std::string stringValue(const FailureInformation& value);
MRP_API std::string stringValue(const MsrpTalkerAdvertiseAttribute& value);
MRP_API std::string stringValue(const MsrpTalkerFailedAttribute& value);
MRP_API std::string stringValue(const MsrpListenerStreamAttribute& value);
MRP_API std::string stringValue(const MsrpListenerAttribute& value);
MRP_API std::string stringValue(const MsrpDomainAttribute& value);

// Each accepts exactly what its record prints.
MRP_API std::optional<DataFrameParameters> parseDataFrameParameters(std::string_view text);
MRP_API std::optional<Tspec> parseTspec(std::string_view text);
MRP_API std::optional<PriorityAndRank> parsePriorityAndRank(std::string_view text);
MRP_API std::optional<FailureInformation> parseFailureInformation(std::string_view text);
MRP_API std::optional<MsrpTalkerAdvertiseAttribute> parseMsrpTalkerAdvertiseAttribute(
    std::string_view text);
MRP_API std::optional<MsrpTalkerFailedAttribute> parseMsrpTalkerFailedAttribute(
    std::string_view text);
MRP_API std::optional<MsrpListenerStreamAttribute> parseMsrpListenerStreamAttribute(
    std::string_view text);
MRP_API std::optional<MsrpListenerAttribute> parseMsrpListenerAttribute(std::string_view text);
MRP_API std::optional<MsrpDomainAttribute> parseMsrpDomainAttribute(std::string_view text);

}  // namespace Mrp

namespace Platform {

template <>
struct ValueCodec<Mrp::DataFrameParameters>
    : Mrp::TextCodec<Mrp::DataFrameParameters, Mrp::parseDataFrameParameters> {};
template <>
struct ValueCodec<Mrp::Tspec> : Mrp::TextCodec<Mrp::Tspec, Mrp::parseTspec> {};
template <>
struct ValueCodec<Mrp::PriorityAndRank>
    : Mrp::TextCodec<Mrp::PriorityAndRank, Mrp::parsePriorityAndRank> {};
template <>
struct ValueCodec<Mrp::FailureInformation>
    : Mrp::TextCodec<Mrp::FailureInformation, Mrp::parseFailureInformation> {};
template <>
struct ValueCodec<Mrp::MsrpTalkerAdvertiseAttribute>
    : Mrp::TextCodec<Mrp::MsrpTalkerAdvertiseAttribute, Mrp::parseMsrpTalkerAdvertiseAttribute> {};
template <>
struct ValueCodec<Mrp::MsrpTalkerFailedAttribute>
    : Mrp::TextCodec<Mrp::MsrpTalkerFailedAttribute, Mrp::parseMsrpTalkerFailedAttribute> {};
template <>
struct ValueCodec<Mrp::MsrpListenerStreamAttribute>
    : Mrp::TextCodec<Mrp::MsrpListenerStreamAttribute, Mrp::parseMsrpListenerStreamAttribute> {};
template <>
struct ValueCodec<Mrp::MsrpListenerAttribute>
    : Mrp::TextCodec<Mrp::MsrpListenerAttribute, Mrp::parseMsrpListenerAttribute> {};
template <>
struct ValueCodec<Mrp::MsrpDomainAttribute>
    : Mrp::TextCodec<Mrp::MsrpDomainAttribute, Mrp::parseMsrpDomainAttribute> {};

}  // namespace Platform
