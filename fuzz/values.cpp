// Text forms and the order of names. A text that parses is printed as that very text; names are in
// a total order. The first octet of the input chooses which.

#include <algorithm>
#include <array>
#include <compare>
#include <cstdint>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz/Check.h"
#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/MrpSm/db/MrpAttrIter.h"
#include "mrp/types/MrpEnums.h"
#include "platform/interface/IntfId.h"
#include "platform/packet/EthAddr.h"

namespace {

using Octets = std::span<const std::uint8_t>;

std::string_view textOf(Octets octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

template <class Parse>
void checkText(std::string_view text, Parse parse) {
  const auto value = parse(text);
  if (!value) return;
  CHECK(stringValue(*value) == text);
  const auto again = parse(stringValue(*value));
  CHECK(again && *again == *value);
}

void checkTexts(std::string_view text) {
  checkText(text, Mrp::parseDataFrameParameters);
  checkText(text, Mrp::parseTspec);
  checkText(text, Mrp::parsePriorityAndRank);
  checkText(text, Mrp::parseFailureInformation);
  checkText(text, Mrp::parseMsrpTalkerAdvertiseAttribute);
  checkText(text, Mrp::parseMsrpTalkerFailedAttribute);
  checkText(text, Mrp::parseMsrpListenerStreamAttribute);
  checkText(text, Mrp::parseMsrpListenerAttribute);
  checkText(text, Mrp::parseMsrpDomainAttribute);
  checkText(text, Mrp::parseMvrpVlanAttribute);
}

// A named number may be written as its number; it is printed by its name.
template <class Parse>
void checkEnumeration(std::string_view text, Parse parse) {
  const auto value = parse(text);
  if (!value) return;
  const auto again = parse(stringValue(*value));
  CHECK(again == value);
  CHECK(stringValue(*value) == text || text == std::to_string(static_cast<unsigned>(*value)));
}

void checkEnumerations(std::string_view text) {
  checkEnumeration(text, Mrp::mrpApplication);
  checkEnumeration(text, Mrp::msrpAttrType);
  checkEnumeration(text, Mrp::mvrpAttrType);
  checkEnumeration(text, Mrp::mrpThreePackedEvent);
  checkEnumeration(text, Mrp::msrpListenerEvent);
  checkEnumeration(text, Mrp::mrpRegistrarState);
  checkEnumeration(text, Mrp::mrpApplicantState);
  checkEnumeration(text, Mrp::mrpApplicantEvent);
  checkEnumeration(text, Mrp::mrpRegistrarEvent);
  checkEnumeration(text, Mrp::mrpParseStatus);
}

void checkKey(std::string_view text) {
  constexpr std::size_t kLongestName = 200;  // names are kept for the life of the process
  if (text.size() > kLongestName) return;
  const auto key = Mrp::MrpAttrIter::Key::parse(text);
  if (!key) return;
  std::ostringstream printed;
  printed << *key;
  CHECK(printed.view() == text);
  const auto again = Mrp::MrpAttrIter::Key::parse(printed.view());
  CHECK(again == key && again->hash() == key->hash());
}

// Digits of either case are read, small ones are printed.
void checkAddress(std::string_view text) {
  const auto address = Platform::EthAddr::parse(text);
  if (!address) return;
  CHECK(Platform::EthAddr::parse(address->stringValue()) == address);
  CHECK(Platform::EthAddr::fromNumber(address->number()) == *address);
  const std::string printed = address->stringValue();
  const auto sameLetter = [](char a, char b) { return (a | 0x20) == (b | 0x20); };
  CHECK(std::ranges::equal(printed, text, sameLetter));
}

void checkOrder(std::string_view text) {
  std::array<std::string_view, 3> names;
  for (std::string_view& name : names) {
    const std::size_t end = text.find('\0');
    name = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  for (const std::string_view a : names) {
    for (const std::string_view b : names) {
      const auto order = Platform::naturalOrder(a, b);
      CHECK((order == 0) == (a == b));
      CHECK((order < 0) == (Platform::naturalOrder(b, a) > 0));
      for (const std::string_view c : names) {
        if (order < 0 && Platform::naturalOrder(b, c) < 0) {
          CHECK(Platform::naturalOrder(a, c) < 0);
        }
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Octets rest(data + 1, size - 1);
  switch (data[0] % 4) {
    case 0:
      checkTexts(textOf(rest));
      break;
    case 1:
      checkEnumerations(textOf(rest));
      checkAddress(textOf(rest));
      break;
    case 2:
      checkKey(textOf(rest));
      break;
    case 3:
      checkOrder(textOf(rest));
      break;
  }
  return 0;
}
