#include "mrp/types/MrpEnums.h"

#include <array>
#include <charconv>
#include <cstddef>

namespace Mrp {
namespace {

// Names by number.
constexpr const char* kApplicationNames[] = {"none", "msrp", "mvrp"};
constexpr const char* kMsrpAttrTypes[] = {"invalidAttribute", "talkerAdvertise", "talkerFailed",
                                          "listener", "domain"};
constexpr const char* kMvrpAttrTypes[] = {"invalidAttr", "vlan"};
constexpr const char* kThreePackedEvents[] = {"newEvent", "joinIn", "in", "joinMt", "mt", "lv"};
constexpr const char* kListenerEvents[] = {"ignore", "askingFailed", "ready", "readyFailed"};
constexpr const char* kRegistrarStates[] = {"IN", "LV", "MT"};
constexpr const char* kApplicantStates[] = {"VO", "VP", "VN", "AN", "AA", "QA",
                                            "LA", "AO", "QO", "AP", "QP", "LO"};
constexpr const char* kApplicantEvents[] = {"New!",  "Join!",    "Lv!",   "Re-declare!", "Flush!",
                                            "rNew!", "rJoinIn!", "rIn!",  "rJoinMt!",    "rMt!",
                                            "rLv!",  "rLA!",     "txLA!", "no event"};
constexpr const char* kRegistrarEvents[] = {"rNew!",       "rJoinIn!", "rJoinMt!",    "rLv!",
                                            "rLA!",        "txLA!",    "Re-declare!", "Flush!",
                                            "leavetimer!", "no event"};
constexpr const char* kParseStatuses[] = {"mrpParseContinue", "mrpParseEndOfPdu",
                                          "mrpParseMalformed"};

struct Decimal {
  char text[4] = {};
};

// "0" to "255", for the numbers without a name.
constexpr auto kDecimals = [] {
  std::array<Decimal, 256> decimals{};
  for (unsigned number = 0; number < decimals.size(); ++number) {
    char* to = decimals[number].text;
    if (number >= 100) *to++ = static_cast<char>('0' + number / 100);
    if (number >= 10) *to++ = static_cast<char>('0' + number / 10 % 10);
    *to = static_cast<char>('0' + number % 10);
  }
  return decimals;
}();

template <class E, std::size_t N>
const char* nameOf(E value, const char* const (&names)[N]) {
  const auto number = static_cast<std::uint8_t>(value);
  return number < N ? names[number] : kDecimals[number].text;
}

template <class E, std::size_t N>
std::optional<E> byNameOrNumber(std::string_view text, const char* const (&names)[N]) {
  for (std::size_t number = 0; number < N; ++number) {
    if (text == names[number]) return static_cast<E>(number);
  }
  std::uint8_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  // The decimal table knows the one way to write a number.
  if (error != std::errc{} || text != kDecimals[number].text) return std::nullopt;
  return static_cast<E>(number);
}

}  // namespace

const char* stringValue(MrpApplication value) { return nameOf(value, kApplicationNames); }
const char* stringValue(MsrpAttrType value) { return nameOf(value, kMsrpAttrTypes); }
const char* stringValue(MvrpAttrType value) { return nameOf(value, kMvrpAttrTypes); }
const char* stringValue(MrpThreePackedEvent value) { return nameOf(value, kThreePackedEvents); }
const char* stringValue(MsrpListenerEvent value) { return nameOf(value, kListenerEvents); }
const char* stringValue(MrpRegistrarState value) { return nameOf(value, kRegistrarStates); }
const char* stringValue(MrpApplicantState value) { return nameOf(value, kApplicantStates); }
const char* stringValue(MrpApplicantEvent value) { return nameOf(value, kApplicantEvents); }
const char* stringValue(MrpRegistrarEvent value) { return nameOf(value, kRegistrarEvents); }
const char* stringValue(MrpParseStatus value) { return nameOf(value, kParseStatuses); }

std::optional<MrpApplication> mrpApplication(std::string_view text) {
  return byNameOrNumber<MrpApplication>(text, kApplicationNames);
}
std::optional<MsrpAttrType> msrpAttrType(std::string_view text) {
  return byNameOrNumber<MsrpAttrType>(text, kMsrpAttrTypes);
}
std::optional<MvrpAttrType> mvrpAttrType(std::string_view text) {
  return byNameOrNumber<MvrpAttrType>(text, kMvrpAttrTypes);
}
std::optional<MrpThreePackedEvent> mrpThreePackedEvent(std::string_view text) {
  return byNameOrNumber<MrpThreePackedEvent>(text, kThreePackedEvents);
}
std::optional<MsrpListenerEvent> msrpListenerEvent(std::string_view text) {
  return byNameOrNumber<MsrpListenerEvent>(text, kListenerEvents);
}
std::optional<MrpRegistrarState> mrpRegistrarState(std::string_view text) {
  return byNameOrNumber<MrpRegistrarState>(text, kRegistrarStates);
}
std::optional<MrpApplicantState> mrpApplicantState(std::string_view text) {
  return byNameOrNumber<MrpApplicantState>(text, kApplicantStates);
}
std::optional<MrpApplicantEvent> mrpApplicantEvent(std::string_view text) {
  return byNameOrNumber<MrpApplicantEvent>(text, kApplicantEvents);
}
std::optional<MrpRegistrarEvent> mrpRegistrarEvent(std::string_view text) {
  return byNameOrNumber<MrpRegistrarEvent>(text, kRegistrarEvents);
}
std::optional<MrpParseStatus> mrpParseStatus(std::string_view text) {
  return byNameOrNumber<MrpParseStatus>(text, kParseStatuses);
}

}  // namespace Mrp
