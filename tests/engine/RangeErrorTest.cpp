// Range errors: they reach the caller with their text, and whatever they interrupt is left in
// order.

#include <stdexcept>

#include "platform/bridging/VlanId.h"
#include "platform/reactor/Attributes.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

constexpr const char* kVlanText = "VlanId::value < 1 or > 4094 not allowed";
constexpr const char* kIndexText =
    "ValueIndex::value < ValueIndex::min or > ValueIndex::max not allowed";

template <class Call>
std::string raised(Call call) {
  try {
    call();
  } catch (const std::range_error& error) {
    return error.what();
  }
  return "nothing";
}

class RangeErrorTest : public EngineTest {
 protected:
  Station st{kMvrp};
  IntfId port = st.port(1), other = st.port(2);
};

// The native VLAN of a port that names its instance is out of range while the roles of all ports
// are read, and repaired later.
TEST_F(RangeErrorTest, RolesAreWatchedOnAfterANativeVlanOutOfRange) {
  auto& bridging = *st.sw->bridgingConfig();
  st.sw->stpStatus()->modeIs(Stp::Mode::perVlan);
  bridging.vlanConfigIs(VlanId(100), {.instance = 1});
  bridging.nativeVlanIs(port, 4095);
  bridging.nativeVlanIs(other, 100);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(other, vlans(10, {JoinIn}));

  auto stpi = makePtr<Stp::StpiStatus>();
  for (const IntfId intf : {port, other}) {
    stpi->childIs("Vl100").childIs(intf.name()).roleIs(Role::designated);
  }
  EXPECT_EQ(raised([&] { st.sw->stpStatus()->childIs("one", stpi); }), kVlanText);
  st.roleIs(other, Role::alternate, "Vl100");
  EXPECT_EQ(st.attributes(other), Texts{"1:10 AO/MT"}) << "the port behind it is watched";

  bridging.nativeVlanIs(port, 100);
  st.roleIs(port, Role::root, "Vl100");
  st.roleIs(port, Role::alternate, "Vl100");
  EXPECT_EQ(st.attributes(port), Texts{"1:10 AO/MT"}) << "and so is the one that was wrong";
}

// An indication lets a range error out in the middle of a frame: what follows in the frame is lost,
// and nothing of it is found in the next one.
TEST_F(RangeErrorTest, WhatAFrameHasStagedEndsWithIt) {
  st.lib->onJoin = [](const MrpParameters&) -> bool { throw std::range_error("application"); };
  EXPECT_EQ(raised([&] {
              st.receive(port, pdu(message(kMvrp, 1, vec(vlan(10), {JoinIn, JoinIn, JoinIn})), 2));
            }),
            "application");
  EXPECT_FALSE(st.engine->frameInProgress());
  EXPECT_EQ(st.engine->counters()->numOfPktsProcessed(), 1u);

  st.lib->onJoin = nullptr;
  st.receive(other, vlans(20, {JoinIn}));
  EXPECT_EQ(st.attributes(other), Texts{"1:20 AO/IN"});
  st.receive(other, {0, 7, 2, 0, 1, 0, 30, 36, 0, 0, 0, 0});
  EXPECT_EQ(st.engine->counters()->numOfMalformedPkts(), 1u)
      << "an unknown type is passed over in a later version only";
  st.receive(port, vlans(10, {JoinIn, JoinIn, JoinIn}));
  EXPECT_EQ(st.registered(port, 1), (std::set<std::uint64_t>{10, 11, 12}));
}

// The same from inside a transmission that a received LeaveAll fills: the LeaveAll of the type
// behind it is not the next frame's.
TEST_F(RangeErrorTest, LeaveAllsOfAFrameEndWithIt) {
  Station msrp(kMsrp);
  const IntfId left = msrp.port(1), right = msrp.port(2);
  for (unsigned n = 0; n < 60; ++n) msrp.request(left, 1, talker(1000 + 2 * n), JoinIn);
  for (const IntfId intf : {left, right}) {
    msrp.receive(intf, streams(3, stream(7), {JoinIn}, false, {ready}));
  }
  msrp.clock->run(0.3);
  bool failing = true;
  msrp.sw->onTransmit([&](IntfId, const Pkt&) {
    if (failing) throw std::range_error("endpoint");
  });
  const Octets leaveAlls =
      pdu(message(kMsrp, 1, leaveAllVec(25)) + message(kMsrp, 3, leaveAllVec(8)));
  EXPECT_EQ(raised([&] { msrp.receive(left, leaveAlls); }), "endpoint");
  failing = false;
  msrp.receive(right, streams(1, talker(5), {JoinIn}));
  EXPECT_EQ(msrp.attribute(right, 3, 7), "AO/IN");
}

// By name, by typed value and as a key of the status.
TEST_F(RangeErrorTest, ValuesThatDoNotFitAreRefusedAndNotWritten) {
  st.receive(port, vlans(10, {JoinIn}));
  const Described record = described(*st.record(port, 1, 10));
  EXPECT_EQ(raised([&] {
              attributeValueIs(record, "attributeValue", Value::Octets{1, 2, 3});
            }),
            kIndexText);
  EXPECT_EQ(raised([&] { st.record(port, 1, 10)->attributeValueIs(ValueIndex(2), 1); }),
            kIndexText);
  EXPECT_EQ(st.value(port, 1, 10), vlan(10));
  EXPECT_TRUE(attributeValueIs(record, "attributeValue", Value::Octets{0, 11}));

  for (const std::uint64_t wrong : {0u, 4095u, 65536u, 65636u}) {
    EXPECT_EQ(raised([&] { VlanId{wrong}; }), kVlanText) << wrong;
  }

  auto& status = *st.status->application(kMvrp.application)->typeApplicant(port, 1);
  const std::size_t records = st.records(port, 1);
  for (const std::uint64_t wrong : {std::uint64_t{65536}, ~std::uint64_t{0}}) {
    EXPECT_NE(raised([&] { status.mrpAttributeIs(wrong); }), "nothing") << wrong;
    EXPECT_NE(raised([&] { status.pendingAddIs(wrong); }), "nothing") << wrong;
    EXPECT_FALSE(status.mrpAttribute(wrong));
  }
  EXPECT_EQ(st.records(port, 1), records);
  EXPECT_TRUE(status.mrpAttributeIs(65535).committed());
}

}  // namespace
}  // namespace EngineTest
