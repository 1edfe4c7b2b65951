#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/reactor/Attributes.h"

// The enumerations of the protocol. Each one may also hold a number that has no name here: what a
// peer or another release sent stays visible, and prints as that number.
namespace Mrp {

enum class MrpApplication : std::uint8_t { none = 0, msrp = 1, mvrp = 2 };

// AttributeType of an MSRP message (IEEE 802.1Q-2018 35.2.2.4).
enum class MsrpAttrType : std::uint8_t {
  invalidAttribute = 0,
  talkerAdvertise = 1,
  talkerFailed = 2,
  listener = 3,
  domain = 4,
};

// AttributeType of an MVRP message (IEEE 802.1Q-2018 11.2.3).
enum class MvrpAttrType : std::uint8_t { invalidAttr = 0, vlan = 1 };

// AttributeEvent of a ThreePackedEvent (IEEE 802.1Q-2018 10.8.2).
enum class MrpThreePackedEvent : std::uint8_t { newEvent, joinIn, in, joinMt, mt, lv };

// Further requests that `MrpParameters::attributeEvent` may carry; never on the wire.
inline constexpr std::uint8_t kLeaveAllEvent = 6;
inline constexpr std::uint8_t kInternalLeaveEvent = 7;

// Listener declaration of a FourPackedEvent (IEEE 802.1Q-2018 35.2.2.7).
enum class MsrpListenerEvent : std::uint8_t { ignore, askingFailed, ready, readyFailed };

// Registrar states (IEEE 802.1Q-2018 table 10-4). Print as "IN", "LV", "MT".
enum class MrpRegistrarState : std::uint8_t { in, lv, mt };

// Applicant states (IEEE 802.1Q-2018 table 10-3). Print in capitals, "VO" to "LO".
enum class MrpApplicantState : std::uint8_t {
  vo,  // very anxious observer
  vp,  // very anxious passive
  vn,  // very anxious new
  an,  // anxious new
  aa,  // anxious active
  qa,  // quiet active
  la,  // leaving active
  ao,  // anxious observer
  qo,  // quiet observer
  ap,  // anxious passive
  qp,  // quiet passive
  lo,  // leaving observer
};

// Whether a station in this state declares the attribute; 12 and above: no.
constexpr bool declares(MrpApplicantState state) {
  using enum MrpApplicantState;
  constexpr auto bit = [](MrpApplicantState s) { return 1u << static_cast<unsigned>(s); };
  constexpr unsigned declaring =
      bit(vp) | bit(vn) | bit(an) | bit(aa) | bit(qa) | bit(ap) | bit(qp);
  return declaring >> (static_cast<unsigned>(state) & 31) & 1;
}

// What drives an Applicant. Prints as in the state table ("rJoinIn!"), none as "no event".
enum class MrpApplicantEvent : std::uint8_t {
  newRequest,
  join,
  leave,
  reDeclare,
  flush,
  rNew,
  rJoinIn,
  rIn,
  rJoinMt,
  rMt,
  rLv,
  rxLvAll_,
  txLvAll,
  none,
};

// What drives a Registrar. Prints as in the state table ("rLA!"), none as "no event".
enum class MrpRegistrarEvent : std::uint8_t {
  rNew,
  rJoinIn,
  rJoinMt,
  rLv,
  regLvAll_,
  txLvAll,
  reDeclare,
  flush,
  leaveTimer,
  none,
};

// Result of one step of reading an MRPDU.
enum class MrpParseStatus : std::uint8_t {
  mrpParseContinue,
  mrpParseEndOfPdu,  // an end mark closed the PDU
  mrpParseMalformed,
};
using enum MrpParseStatus;

// The state machine events that a received AttributeEvent stands for; above 5 there is none.
inline constexpr std::array kRxApplicantEvents{MrpApplicantEvent::rNew, MrpApplicantEvent::rJoinIn,
                                               MrpApplicantEvent::rIn,  MrpApplicantEvent::rJoinMt,
                                               MrpApplicantEvent::rMt,  MrpApplicantEvent::rLv};
inline constexpr std::array kRxRegistrarEvents{MrpRegistrarEvent::rNew, MrpRegistrarEvent::rJoinIn,
                                               MrpRegistrarEvent::none, MrpRegistrarEvent::rJoinMt,
                                               MrpRegistrarEvent::none, MrpRegistrarEvent::rLv};

constexpr MrpApplicantEvent applicantEventOf(std::uint8_t threePacked) {
  return threePacked < kRxApplicantEvents.size() ? kRxApplicantEvents[threePacked]
                                                 : MrpApplicantEvent::none;
}
constexpr MrpRegistrarEvent registrarEventOf(std::uint8_t threePacked) {
  return threePacked < kRxRegistrarEvents.size() ? kRxRegistrarEvents[threePacked]
                                                 : MrpRegistrarEvent::none;
}

// The printed name, or the number where there is none. Valid for ever.
MRP_API const char* stringValue(MrpApplication value);
MRP_API const char* stringValue(MsrpAttrType value);
MRP_API const char* stringValue(MvrpAttrType value);
MRP_API const char* stringValue(MrpThreePackedEvent value);
MRP_API const char* stringValue(MsrpListenerEvent value);
MRP_API const char* stringValue(MrpRegistrarState value);
MRP_API const char* stringValue(MrpApplicantState value);
MRP_API const char* stringValue(MrpApplicantEvent value);
MRP_API const char* stringValue(MrpRegistrarEvent value);
MRP_API const char* stringValue(MrpParseStatus value);

// From a printed name, or from a decimal number 0..255 without sign and leading zeros.
MRP_API std::optional<MrpApplication> mrpApplication(std::string_view text);
MRP_API std::optional<MsrpAttrType> msrpAttrType(std::string_view text);
MRP_API std::optional<MvrpAttrType> mvrpAttrType(std::string_view text);
MRP_API std::optional<MrpThreePackedEvent> mrpThreePackedEvent(std::string_view text);
MRP_API std::optional<MsrpListenerEvent> msrpListenerEvent(std::string_view text);
MRP_API std::optional<MrpRegistrarState> mrpRegistrarState(std::string_view text);
MRP_API std::optional<MrpApplicantState> mrpApplicantState(std::string_view text);
MRP_API std::optional<MrpApplicantEvent> mrpApplicantEvent(std::string_view text);
MRP_API std::optional<MrpRegistrarEvent> mrpRegistrarEvent(std::string_view text);
MRP_API std::optional<MrpParseStatus> mrpParseStatus(std::string_view text);

constexpr MsrpAttrType MsrpAttrTypeInstance(std::uint8_t number) { return MsrpAttrType{number}; }
constexpr MvrpAttrType MvrpAttrTypeInstance(std::uint8_t number) { return MvrpAttrType{number}; }
constexpr MsrpListenerEvent MsrpListenerEventInstance(std::uint8_t number) {
  return MsrpListenerEvent{number};
}
inline std::optional<MsrpAttrType> MsrpAttrTypeInstance(std::string_view text) {
  return msrpAttrType(text);
}
inline std::optional<MvrpAttrType> MvrpAttrTypeInstance(std::string_view text) {
  return mvrpAttrType(text);
}
inline std::optional<MsrpListenerEvent> MsrpListenerEventInstance(std::string_view text) {
  return msrpListenerEvent(text);
}

// The enumerations above.
template <class E>
concept NamedEnum = std::is_enum_v<E> && requires(E value) {
  { stringValue(value) } -> std::same_as<const char*>;
};

template <NamedEnum E>
std::ostream& operator<<(std::ostream& out, E value) {
  return out << stringValue(value);
}

// An enumeration as an attribute value: written by name, read by name or number.
template <NamedEnum E, std::optional<E> (*FromText)(std::string_view)>
struct EnumCodec {
  static Platform::Value toValue(E value) { return Platform::Value(stringValue(value)); }
  static std::optional<E> fromValue(const Platform::Value& value) {
    if (auto* text = value.as<std::string>()) return FromText(*text);
    if (auto* number = value.as<std::uint64_t>(); number && *number <= 255) {
      return static_cast<E>(*number);
    }
    return std::nullopt;
  }
};

}  // namespace Mrp

namespace Platform {

template <>
struct ValueCodec<Mrp::MrpApplication> : Mrp::EnumCodec<Mrp::MrpApplication, Mrp::mrpApplication> {
};
template <>
struct ValueCodec<Mrp::MsrpAttrType> : Mrp::EnumCodec<Mrp::MsrpAttrType, Mrp::msrpAttrType> {};
template <>
struct ValueCodec<Mrp::MvrpAttrType> : Mrp::EnumCodec<Mrp::MvrpAttrType, Mrp::mvrpAttrType> {};
template <>
struct ValueCodec<Mrp::MsrpListenerEvent>
    : Mrp::EnumCodec<Mrp::MsrpListenerEvent, Mrp::msrpListenerEvent> {};
template <>
struct ValueCodec<Mrp::MrpRegistrarState>
    : Mrp::EnumCodec<Mrp::MrpRegistrarState, Mrp::mrpRegistrarState> {};
template <>
struct ValueCodec<Mrp::MrpApplicantState>
    : Mrp::EnumCodec<Mrp::MrpApplicantState, Mrp::mrpApplicantState> {};
template <>
struct ValueCodec<Mrp::MrpApplicantEvent>
    : Mrp::EnumCodec<Mrp::MrpApplicantEvent, Mrp::mrpApplicantEvent> {};
template <>
struct ValueCodec<Mrp::MrpRegistrarEvent>
    : Mrp::EnumCodec<Mrp::MrpRegistrarEvent, Mrp::mrpRegistrarEvent> {};

}  // namespace Platform
