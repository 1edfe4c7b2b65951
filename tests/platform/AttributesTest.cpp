#include "platform/reactor/Attributes.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/bridging/VlanId.h"
#include "platform/host/JsonDump.h"
#include "platform/interface/IntfId.h"
#include "platform/packet/EthAddr.h"
#include "platform/time/Seconds.h"

namespace {

using namespace Platform;

// Has an attribute of each kind.
class Sample {
 public:
  static constexpr std::string_view typeName = "Sample";
  static std::span<const AttributeInfo> attributeTable() {
    static constexpr std::array table{
        attribute<Sample, &Sample::small, &Sample::smallIs>("small"),
        attribute<Sample, &Sample::on, &Sample::onIs>("on"),
        attribute<Sample, &Sample::port, &Sample::portIs>("port"),
        attribute<Sample, &Sample::period, &Sample::periodIs>("period"),
        readOnlyAttribute<Sample, &Sample::writes>("writes"),
        attribute<Sample, &Sample::even, &Sample::evenIs>("even"),
        attribute<Sample, &Sample::vlan, &Sample::vlanIs>("vlan"),
        operation<Sample, &Sample::reset>("reset"),
    };
    return table;
  }

  std::uint8_t small() const { return small_; }
  void smallIs(std::uint8_t v) { small_ = v, ++writes_; }
  bool on() const { return on_; }
  void onIs(bool v) { on_ = v, ++writes_; }
  IntfId port() const { return port_; }
  void portIs(IntfId v) { port_ = v, ++writes_; }
  Seconds period() const { return period_; }
  void periodIs(Seconds v) { period_ = v, ++writes_; }
  std::uint32_t writes() const { return writes_; }
  std::uint32_t even() const { return even_; }
  // Refuses odd numbers.
  bool evenIs(std::uint32_t v) {
    if (v % 2 == 0) even_ = v;
    return v % 2 == 0;
  }
  std::uint64_t vlan() const { return vlan_.value(); }
  void vlanIs(std::uint64_t v) { vlan_ = VlanId(v); }
  void reset(bool everything) {
    small_ = 0;
    if (everything) on_ = false;
  }

 private:
  std::uint8_t small_ = 3;
  bool on_ = true;
  IntfId port_{"port3"};
  Seconds period_ = 0.6;
  std::uint32_t writes_ = 0;
  std::uint32_t even_ = 2;
  VlanId vlan_{1};
};

TEST(AttributesTest, CopierWritesWhatCanBeWritten) {
  Sample from, to;
  from.smallIs(200);
  from.onIs(false);
  from.portIs(IntfId("port9"));
  from.periodIs(2);
  entityCopy(from, to);
  EXPECT_EQ(to.small(), 200);
  EXPECT_FALSE(to.on());
  EXPECT_EQ(to.port(), IntfId("port9"));
  EXPECT_EQ(to.period(), Seconds(2));
  EXPECT_EQ(to.writes(), 4u) << "neither the read-only attribute nor the operation";
}

TEST(AttributesTest, ByNameChecksTypeAndRange) {
  Sample sample;
  const Described d = described(sample);
  EXPECT_TRUE(attributeValueIs(d, "small", Value(std::uint64_t{255})));
  EXPECT_FALSE(attributeValueIs(d, "small", Value(std::uint64_t{256})));
  EXPECT_FALSE(attributeValueIs(d, "small", Value(true)));
  EXPECT_FALSE(attributeValueIs(d, "on", Value(std::uint64_t{1})));
  EXPECT_FALSE(attributeValueIs(d, "writes", Value(std::uint64_t{1})));
  EXPECT_FALSE(attributeValueIs(d, "none", Value(true)));
  EXPECT_EQ(*attributeValue(d, "small")->as<std::uint64_t>(), 255u);
  EXPECT_FALSE(attributeValue(d, "reset")) << "an operation has no value";
  EXPECT_TRUE(attributeValueIs(d, "reset", Value(true)));
  EXPECT_EQ(sample.small(), 0);
  EXPECT_FALSE(sample.on());
}

TEST(AttributesTest, RefusedValuesAreNeverWritten) {
  Sample sample;
  const Described d = described(sample);
  EXPECT_FALSE(attributeValueIs(d, "even", Value(std::uint64_t{7})));
  EXPECT_EQ(sample.even(), 2u);
  EXPECT_TRUE(attributeValueIs(d, "even", Value(std::uint64_t{8})));
  EXPECT_EQ(sample.even(), 8u);
  EXPECT_FALSE(attributeValueIs(d, "even", Value(std::uint64_t{1} << 32)));
  EXPECT_FALSE(attributeValueIs(d, "even", Value(std::int64_t{-8})));
  for (const std::uint64_t wrong : {0u, 4095u, 65536u, 65636u}) {
    EXPECT_THROW(attributeValueIs(d, "vlan", Value(wrong)), std::range_error) << wrong;
  }
  EXPECT_EQ(sample.vlan(), 1u);
  EXPECT_TRUE(attributeValueIs(d, "vlan", Value(std::uint64_t{4094})));
}

TEST(AttributesTest, DumpShowsEveryKindOfValue) {
  Sample sample;
  const Value::Members members{{Value(std::uint64_t{7}), Value(described(sample))},
                               {Value("x"), Value(Value::Octets{0x0a, 0xff})},
                               {Value(Value::Octets{1}), Value()}};
  EXPECT_EQ(
      Host::jsonDump(Value(members)).dump(),
      R"({"7":{"small":3,"on":true,"port":"port3","period":0.6,"writes":0,"even":2,"vlan":1},)"
      R"("x":"0aff","01":null})");
  EXPECT_EQ(Host::jsonDump(Described{}).dump(), "{}");
}

TEST(SecondsText, SaysEveryDigitAndNoMore) {
  constexpr std::int64_t kTop = std::numeric_limits<std::int64_t>::max();
  const std::pair<Seconds, const char*> texts[] = {
      {0, "0"},
      {100800.1, "100800.1"},
      {12, "12"},
      {-0.5, "-0.5"},
      {Seconds::fromNanoseconds(1), "0.000000001"},
      {Seconds::fromNanoseconds(-1'000'000'010), "-1.00000001"},
      {Seconds::fromNanoseconds(86'400'123'456'789), "86400.123456789"},
      {Seconds::never(), "9223372036.854775807"},
      {Seconds::fromNanoseconds(-kTop - 1), "-9223372036.854775808"},
  };
  for (const auto& [seconds, text] : texts) {
    std::ostringstream out;
    out << std::hex << seconds;
    EXPECT_EQ(out.str(), text);
  }
}

TEST(EthAddrText, ParsesExactlyItsForm) {
  EXPECT_EQ(EthAddr::parse("91:E0:f0:00:fe:01")->number(), 0x91e0f000fe01u);
  for (const char* bad : {"91:e0:f0:00:fe", "91:e0:f0:00:fe:0", "91-e0-f0-00-fe-01",
                          "91:e0:f0:00:fe:0g", "91:e0:f0:00:fe:+1", "91:e0:f0:00:fe:011"}) {
    EXPECT_FALSE(EthAddr::parse(bad)) << bad;
  }
}

}  // namespace
