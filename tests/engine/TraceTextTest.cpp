// Texts of traces that people search for, word for word.

#include <algorithm>

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class TraceTextTest : public EngineTest {
 protected:
  void listen(Switch& sw) {
    sw.trace().levelIs(8);
    sw.trace().sinkAdd([this](const Trace::Entry& entry) { lines.push_back(entry.text); });
  }
  // Lines that begin so, in their order; what was traced is forgotten.
  Texts take(const std::string& head) {
    Texts found;
    for (const std::string& line : lines) {
      if (line.starts_with(head)) found.push_back(line);
    }
    lines.clear();
    return found;
  }

  Texts lines;
};

// Only talkers have their key before the value.
TEST_F(TraceTextTest, ValuesThatAreSent) {
  Station mvrp(kMvrp), msrp(kMsrp);
  const IntfId port = mvrp.port(1);
  msrp.port(1);
  listen(*mvrp.sw);
  listen(*msrp.sw);
  mvrp.request(port, 100, New);
  EXPECT_EQ(take("vlanId = "), (Texts{"vlanId = 100", "vlanId = 100"}));
  msrp.request(port, 3, listener(0x1F, ready), New);
  EXPECT_EQ(take("listenerVector = ").at(0),
            "listenerVector = Value('Mrp::MsrpListenerAttribute', ** {'streamId': 31, "
            "'listenerEvent': ready})");
  msrp.request(port, 4, domain(6, 3, 2), New);
  EXPECT_EQ(take("domainVector = ").at(0),
            "domainVector = Value('Mrp::MsrpDomainAttribute', ** {'srClassId': 6, "
            "'srClassPriority': 3, 'srClassVID': 2})");
  for (const Octets& value : {talker(0x1F), failed(0x1F)}) {
    msrp.request(port, value.size() == 25 ? 1 : 2, value, New);
    const std::string text = take("streamId = 0x").at(0);
    EXPECT_TRUE(text.starts_with("streamId = 0x1f Value('Mrp::MsrpTalker")) << text;
  }
}

TEST_F(TraceTextTest, NamesOfPortsStandOpen) {
  Station st(kMvrp);
  listen(*st.sw);
  const IntfId port = st.port(1);
  st.port(2);
  EXPECT_EQ(take("MrpPamSm::handlePam("),
            (Texts{"MrpPamSm::handlePam( port1", "MrpPamSm::handlePam( port2"}));
  st.roleIs(port, Role::root);
  EXPECT_EQ(take("MrpSm::handleRole(").back(), "MrpSm::handleRole( one, Cist, port1");
  st.engine->sendLeaveAll(port);
  const Texts asked{"MrpPamSm::transmitAllLeaveAll( port1",
                    "MrpIntfPamSm::transmitAllLeaveAll( port1"};
  for (const std::string& line : asked) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(), line), 1) << line;
  }
  st.status->floodIs(true);
  st.receive(port, vlans(10, {JoinIn}));
  EXPECT_EQ(take("MrpPamSm::floodMsrpdu("), Texts{"MrpPamSm::floodMsrpdu( port1"});
  st.lib->mrpInterfaceDisable(port);
  EXPECT_EQ(take("MrpIntfPamSm::doClose("), Texts{"MrpIntfPamSm::doClose( port1"});
}

// After 28 hours a time has seven digits before its tenths are told.
TEST_F(TraceTextTest, TimesAreToldInFull) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.clock->runUntil(100800.1);
  listen(*st.sw);
  st.receive(port, vlans(10, {JoinIn}));
  st.receive(port, vlans(10, {Lv}));
  EXPECT_EQ(take("Leave timer will expire at"),
            Texts{"Leave timer will expire at: 100800.7 {port1 1 10}"});
  st.receive(port, vlans(0, {}, true));
  EXPECT_EQ(
      take(" txLeaveAll repunched"),
      Texts{" txLeaveAll repunched now = 100800.1 at = 100810.1 for type = 1 on intf = port1"});
}

// At set-up the delete machine alone asks for a review; switching notifications on asks for none,
// unless one came due while they were off.
TEST_F(TraceTextTest, ReviewsThatMachinesAskFor) {
  Station st(kMvrp, Station::Start::none);
  listen(*st.sw);
  const auto asked = [this] {
    Texts found;
    for (const std::string& line : std::exchange(lines, {})) {
      if (line.ends_with("::doUpdateReviewTimer()")) found.push_back(line);
    }
    return found;
  };
  const std::string add = "MrpDatabaseAddSm::doUpdateReviewTimer()";
  const std::string del = "MrpDatabaseDeleteSm::doUpdateReviewTimer()";
  st.start();
  EXPECT_EQ(asked(), Texts{del});
  const IntfId port = st.port(1);
  st.engine->hasNotificationActiveIs(false);
  st.request(port, 10, New);
  EXPECT_EQ(asked(), Texts{add});
  st.clock->run(5);
  st.engine->hasNotificationActiveIs(true);
  EXPECT_EQ(asked(), Texts{add}) << "the one that was missed";
  st.engine->hasNotificationActiveIs(false);
  st.engine->hasNotificationActiveIs(true);
  EXPECT_EQ(asked(), Texts{});
}

}  // namespace
}  // namespace EngineTest
