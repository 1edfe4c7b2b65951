#include <limits>
#include <tuple>
#include <type_traits>

#include "mrp/MrpMsrp/MsrpValues.h"

// The composite records are described once, as name and members; printing and parsing both follow
// the description.
namespace Mrp {
namespace {

template <class Record, class Member>
struct Field {
  constexpr Field(std::string_view n, Member Record::*m) : name(n), member(m) {}
  std::string_view name;
  Member Record::*member;
};

template <class... Fields>
struct Form {
  constexpr explicit Form(std::string_view n, Fields... f) : typeName(n), fields(f...) {}
  std::string_view typeName;
  std::tuple<Fields...> fields;
};

// One overload for each composite record.
constexpr auto formOf(std::type_identity<DataFrameParameters>) {
  using T = DataFrameParameters;
  return Form("Mrp::DataFrameParameters", Field("dmac", &T::dmac), Field("vlanId", &T::vlanId));
}
constexpr auto formOf(std::type_identity<Tspec>) {
  using T = Tspec;
  return Form("Mrp::Tspec", Field("maxFrameSize", &T::maxFrameSize),
              Field("maxIntervalFrames", &T::maxIntervalFrames));
}
constexpr auto formOf(std::type_identity<FailureInformation>) {
  using T = FailureInformation;
  return Form("Mrp::FailureInformation", Field("bridgeId", &T::bridgeId),
              Field("failureCode", &T::failureCode));
}
constexpr auto formOf(std::type_identity<MsrpTalkerAdvertiseAttribute>) {
  using T = MsrpTalkerAdvertiseAttribute;
  return Form("Mrp::MsrpTalkerAdvertiseAttribute", Field("streamId", &T::streamId),
              Field("frame", &T::frame), Field("tSpec", &T::tSpec),
              Field("priorityAndRank", &T::priorityAndRank),
              Field("accumulatedLatency", &T::accumulatedLatency));
}
constexpr auto formOf(std::type_identity<MsrpTalkerFailedAttribute>) {
  using T = MsrpTalkerFailedAttribute;
  return Form("Mrp::MsrpTalkerFailedAttribute",
              Field("talkerAdvertiseAttribute", &T::talkerAdvertiseAttribute),
              Field("failureInformation", &T::failureInformation));
}
constexpr auto formOf(std::type_identity<MsrpListenerAttribute>) {
  using T = MsrpListenerAttribute;
  return Form("Mrp::MsrpListenerAttribute", Field("streamId", &T::streamId),
              Field("listenerEvent", &T::storedEvent));
}
constexpr auto formOf(std::type_identity<MsrpDomainAttribute>) {
  using T = MsrpDomainAttribute;
  return Form("Mrp::MsrpDomainAttribute", Field("srClassId", &T::srClassId),
              Field("srClassPriority", &T::srClassPriority), Field("srClassVID", &T::srClassVID));
}

template <class T>
concept Composite = requires {
  formOf(std::type_identity<T>{});
};

// What separates a field's value from what stands before it; only the first follows no other.
std::string_view separator(bool first) { return first ? "'" : ", '"; }

void put(std::string& to, std::uint64_t number) { to += std::to_string(number); }
void put(std::string& to, const EthAddr& address) { to += address.stringValue(); }
void put(std::string& to, const PriorityAndRank& value) { put(to, value.octet()); }
void put(std::string& to, const StoredListenerEvent& event) {
  to += stringValue(MsrpListenerEvent{event});
}
template <Composite T>
void put(std::string& to, const T& record) {
  constexpr auto form = formOf(std::type_identity<T>{});
  bool first = true;
  auto putField = [&](const auto& field) {
    to.append(separator(first)).append(field.name).append("': ");
    put(to, record.*field.member);
    first = false;
  };
  to.append("Value('").append(form.typeName).append("', ** {");
  std::apply([&](const auto&... fields) { (putField(fields), ...); }, form.fields);
  to += "})";
}

template <std::unsigned_integral T>
bool take(TextReader& from, T& number) {
  auto read = from.number(std::numeric_limits<T>::max());
  if (read) number = static_cast<T>(*read);
  return read.has_value();
}
template <class T>
bool take(TextReader& from, BigEndian<T>& octets) {
  T number = 0;
  const bool taken = take(from, number);
  octets = number;
  return taken;
}
bool take(TextReader& from, EthAddr& address) {
  auto text = from.characters(sizeof "91:e0:f0:00:fe:01" - 1);
  auto read = text ? EthAddr::parse(*text) : std::nullopt;
  address = read.value_or(EthAddr{});
  return read.has_value();
}
bool take(TextReader& from, PriorityAndRank& value) {
  std::uint8_t octet = 0;
  const bool taken = take(from, octet);
  value = PriorityAndRank::fromReceived(octet);
  return taken;
}
bool take(TextReader& from, StoredListenerEvent& event) {
  auto read = msrpListenerEvent(from.word());
  event = read.value_or(MsrpListenerEvent::ignore);
  return read.has_value();
}
template <Composite T>
bool take(TextReader& from, T& record) {
  constexpr auto form = formOf(std::type_identity<T>{});
  bool first = true;
  auto takeField = [&](const auto& field) {
    const std::string_view before = separator(first);
    first = false;
    return from.take(before) && from.take(field.name) && from.take("': ") &&
           take(from, record.*field.member);
  };
  return from.take("Value('") && from.take(form.typeName) && from.take("', ** {") &&
         std::apply([&](const auto&... fields) { return (takeField(fields) && ...); },
                    form.fields) &&
         from.take("})");
}

template <class T>
std::string printed(const T& value) {
  std::string text;
  put(text, value);
  return text;
}

template <class T>
std::optional<T> parsed(std::string_view text) {
  return parseExactly<T>(text, [](TextReader& from, T& value) { return take(from, value); });
}

}  // namespace

std::string stringValue(const DataFrameParameters& value) { return printed(value); }
std::string stringValue(const Tspec& value) { return printed(value); }
std::string stringValue(const PriorityAndRank& value) { return printed(value); }
std::string stringValue(const FailureInformation& value) { return printed(value); }
std::string stringValue(const MsrpTalkerAdvertiseAttribute& value) { return printed(value); }
std::string stringValue(const MsrpTalkerFailedAttribute& value) { return printed(value); }
std::string stringValue(const MsrpListenerStreamAttribute& value) {
  return printed(value.streamId);
}
std::string stringValue(const MsrpListenerAttribute& value) { return printed(value); }
std::string stringValue(const MsrpDomainAttribute& value) { return printed(value); }

std::optional<DataFrameParameters> parseDataFrameParameters(std::string_view text) {
  return parsed<DataFrameParameters>(text);
}
std::optional<Tspec> parseTspec(std::string_view text) { return parsed<Tspec>(text); }
std::optional<PriorityAndRank> parsePriorityAndRank(std::string_view text) {
  return parsed<PriorityAndRank>(text);
}
std::optional<FailureInformation> parseFailureInformation(std::string_view text) {
  return parsed<FailureInformation>(text);
}
std::optional<MsrpTalkerAdvertiseAttribute> parseMsrpTalkerAdvertiseAttribute(
    std::string_view text) {
  return parsed<MsrpTalkerAdvertiseAttribute>(text);
}
std::optional<MsrpTalkerFailedAttribute> parseMsrpTalkerFailedAttribute(std::string_view text) {
  return parsed<MsrpTalkerFailedAttribute>(text);
}
std::optional<MsrpListenerStreamAttribute> parseMsrpListenerStreamAttribute(std::string_view text) {
  return parseExactly<MsrpListenerStreamAttribute>(
      text,
      [](TextReader& from, MsrpListenerStreamAttribute& v) { return take(from, v.streamId); });
}
std::optional<MsrpListenerAttribute> parseMsrpListenerAttribute(std::string_view text) {
  return parsed<MsrpListenerAttribute>(text);
}
std::optional<MsrpDomainAttribute> parseMsrpDomainAttribute(std::string_view text) {
  return parsed<MsrpDomainAttribute>(text);
}

}  // namespace Mrp
