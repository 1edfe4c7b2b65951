#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"

namespace Mrp::Test {
namespace {

using Platform::EthAddr;
using Platform::Value;
using Platform::ValueCodec;

const std::string kTalkerText =
    "Value('Mrp::MsrpTalkerAdvertiseAttribute', ** {'streamId': 4822678189178881, 'frame': "
    "Value('Mrp::DataFrameParameters', ** {'dmac': 91:e0:f0:00:fe:01, 'vlanId': 2}), 'tSpec': "
    "Value('Mrp::Tspec', ** {'maxFrameSize': 1500, 'maxIntervalFrames': 1}), 'priorityAndRank': "
    "112, 'accumulatedLatency': 4294967295})";
const std::string kFailedText =
    "Value('Mrp::MsrpTalkerFailedAttribute', ** {'talkerAdvertiseAttribute': " + kTalkerText +
    ", 'failureInformation': Value('Mrp::FailureInformation', ** {'bridgeId': "
    "18446744073709551615, 'failureCode': 65})})";

// Prints as expected, reads back as itself, and survives the way through an attribute value.
template <class T>
void expectText(const T& value, const std::string& text,
                std::optional<T> (*parse)(std::string_view)) {
  std::ostringstream out;
  out << std::hex << std::showbase << value;
  EXPECT_EQ(out.str(), text);
  EXPECT_EQ(parse(text), value) << text;
  EXPECT_EQ(ValueCodec<T>::fromValue(ValueCodec<T>::toValue(value)), value);

  EXPECT_FALSE(parse(text + " "));
  EXPECT_FALSE(parse(" " + text));
  for (std::size_t n = 0; n < text.size(); ++n) {
    // A bare number cut short is another number.
    if (text.front() == 'V') {
      EXPECT_FALSE(parse(text.substr(0, n))) << text.substr(0, n);
    }
  }
}

TEST(TextForm, RecordsPrintAndReadBack) {
  const MsrpTalkerAdvertiseAttribute talker{0x0011223344550001,
                                            {EthAddr::fromNumber(0x91E0F000FE01), 2},
                                            {1500, 1},
                                            PriorityAndRank::create(3, 1),
                                            0xFFFFFFFF};
  // Failure code 65 is a number, not the letter A.
  const MsrpTalkerFailedAttribute failed{talker, {~std::uint64_t{0}, 65}};
  expectText(talker, kTalkerText, parseMsrpTalkerAdvertiseAttribute);
  expectText(failed, kFailedText, parseMsrpTalkerFailedAttribute);
  expectText(failed.failureInformation,
             "Value('Mrp::FailureInformation', ** {'bridgeId': 18446744073709551615, "
             "'failureCode': 65})",
             parseFailureInformation);
  expectText(talker.frame,
             "Value('Mrp::DataFrameParameters', ** {'dmac': 91:e0:f0:00:fe:01, 'vlanId': 2})",
             parseDataFrameParameters);
  expectText(talker.tSpec, "Value('Mrp::Tspec', ** {'maxFrameSize': 1500, 'maxIntervalFrames': 1})",
             parseTspec);
  expectText(MsrpDomainAttribute{6, 3, 2},
             "Value('Mrp::MsrpDomainAttribute', ** {'srClassId': 6, 'srClassPriority': 3, "
             "'srClassVID': 2})",
             parseMsrpDomainAttribute);
  expectText(MsrpListenerAttribute{10, MsrpListenerEvent::askingFailed},
             "Value('Mrp::MsrpListenerAttribute', ** {'streamId': 10, 'listenerEvent': "
             "askingFailed})",
             parseMsrpListenerAttribute);
  expectText(MsrpListenerAttribute{10, MsrpListenerEvent{9}},
             "Value('Mrp::MsrpListenerAttribute', ** {'streamId': 10, 'listenerEvent': 9})",
             parseMsrpListenerAttribute);
  expectText(MsrpListenerStreamAttribute{~std::uint64_t{0}}, "18446744073709551615",
             parseMsrpListenerStreamAttribute);
  expectText(PriorityAndRank::create(3, 1), "112", parsePriorityAndRank);
  expectText(MvrpVlanAttribute{4094}, "4094", parseMvrpVlanAttribute);
}

TEST(TextForm, EnumsReadByNameOrNumberAndPrintUnknownNumbers) {
  EXPECT_EQ(msrpListenerEvent("readyFailed"), MsrpListenerEvent::readyFailed);
  EXPECT_EQ(msrpListenerEvent("3"), MsrpListenerEvent::readyFailed);
  EXPECT_EQ(MvrpAttrTypeInstance("vlan"), MvrpAttrType::vlan);
  EXPECT_EQ(MvrpAttrTypeInstance(1), MvrpAttrType::vlan);
  EXPECT_EQ(mrpApplicantEvent("txLA!"), MrpApplicantEvent::txLvAll);
  EXPECT_EQ(mrpRegistrarEvent("leavetimer!"), MrpRegistrarEvent::leaveTimer);
  EXPECT_EQ(mrpApplicantState("LO"), MrpApplicantState::lo);
  EXPECT_EQ(mrpApplication("255"), MrpApplication{255});
  for (const char* bad : {"", "Ready", "ready ", "03", "+3", "-1", "256"}) {
    EXPECT_FALSE(msrpListenerEvent(bad)) << bad;
  }

  EXPECT_STREQ(stringValue(MrpApplicantEvent::rxLvAll_), "rLA!");
  EXPECT_STREQ(stringValue(MrpRegistrarEvent::regLvAll_), "rLA!");
  EXPECT_STREQ(stringValue(MrpApplicantEvent{14}), "14");
  EXPECT_STREQ(stringValue(MrpRegistrarState{255}), "255");
  EXPECT_EQ(ValueCodec<MrpRegistrarState>::fromValue(Value(std::uint64_t{1})),
            MrpRegistrarState::lv);
  EXPECT_FALSE(ValueCodec<MrpRegistrarState>::fromValue(Value(std::uint64_t{257})));
}

}  // namespace
}  // namespace Mrp::Test
