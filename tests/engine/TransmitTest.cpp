// MRPDUs as they leave: packing, limits, and what becomes of a packet that cannot be had or sent.

#include <sstream>

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class TransmitTest : public EngineTest {};

TEST_F(TransmitTest, WholeFramesOctetByOctet) {
  Station msrp(kMsrp);
  const IntfId port = msrp.port(1);
  msrp.request(port, 1, talker(0x0011223344550001), New);
  msrp.request(port, 3, listener(0x0011223344550002, ready), JoinIn);
  msrp.request(port, 4, domain(6, 3, 2), JoinIn);
  msrp.clock->run(0.1);
  const std::vector<Octets> frames = msrp.sentFrames(port);
  ASSERT_EQ(frames.size(), 2u);
  const Octets expected{
      0x01, 0x80, 0xc2, 0x00, 0x00, 0x0e, 0x02, 0x00, 0x00, 0x00, 0x00, 0x01, 0x22, 0xea, 0x00,
      // Talker advertise, list of 30 octets: one value, New.
      0x01, 0x19, 0x00, 0x1e, 0x00, 0x01, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x00, 0x01, 0x91,
      0xe0, 0xf0, 0x00, 0xfe, 0x00, 0x00, 0x02, 0x00, 0x40, 0x00, 0x01, 0x70, 0x00, 0x00, 0x03,
      0xe8, 0x00, 0x00, 0x00,
      // Listener, list of 14: JoinMt is 3 * 36, Ready 2 * 64.
      0x03, 0x08, 0x00, 0x0e, 0x00, 0x01, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x00, 0x02, 0x6c,
      0x80, 0x00, 0x00,
      // Domain, list of 9.
      0x04, 0x04, 0x00, 0x09, 0x00, 0x01, 0x06, 0x03, 0x00, 0x02, 0x6c, 0x00, 0x00,
      // End of the PDU.
      0x00, 0x00};
  EXPECT_EQ(frames[0], expected);
  EXPECT_EQ(frames[1], expected);
  EXPECT_EQ(msrp.engine->counters()->numOfPktsTransmitted(), 2u);
  EXPECT_EQ(msrp.lib->mrpCurrentTxIntf(), port);

  Station mvrp(kMvrp);
  const IntfId p = mvrp.port(2);
  mvrp.sw->ethPhyIntfStatusDir()->ethPhyIntfStatusDel(p);  // the bridge's address stands in
  mvrp.request(p, 10, New);
  mvrp.request(p, 11, JoinIn);
  mvrp.clock->run(0.1);
  EXPECT_EQ(mvrp.sentFrames(p)[0],
            (Octets{0x01, 0x80, 0xc2, 0x00, 0x00, 0x21, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x88,
                    0xf5, 0x00, 0x01, 0x02, 0x00, 0x02, 0x00, 0x0a, 0x12, 0x00, 0x00, 0x00, 0x00}));
}

TEST_F(TransmitTest, FullPacketsLeaveAtOnce) {
  const struct {
    const char* name;
    std::uint32_t mtu;  // 0: the port has no status
    std::size_t vectors;
  } cases[] = {{"ordinary", 1500, 287},
               {"small", 100, 7},
               {"tiny", 60, 1},
               {"jumbo", 9000, 287},
               {"absent", 0, 287}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station st(kMvrp);
    const IntfId port = st.port(1, c.mtu);
    if (c.mtu == 0) st.sw->allIntfStatusDir()->intfStatusDel(port);
    // Every second VLAN: a vector of 5 octets each, into both packets.
    for (std::size_t i = 1; i < c.vectors; ++i) {
      st.request(port, static_cast<std::uint16_t>(2 * i), New);
    }
    EXPECT_EQ(st.sentFrames(port).size(), 0u);
    st.request(port, static_cast<std::uint16_t>(2 * c.vectors), New);
    const std::vector<Octets> frames = st.sentFrames(port);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].size(), 15 + 2 + 5 * c.vectors + 4);
    st.clock->run(0.1);
    EXPECT_EQ(st.sent(), Texts{});
  }
}

TEST_F(TransmitTest, MtuCountsFromTheNextEventOn) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  Platform::IntfStatusDir& status = *st.sw->allIntfStatusDir();
  st.request(port, 2, New);
  status.intfStatusIs(port, {.mtu = 60});
  EXPECT_EQ(st.sent(), Texts{});
  st.request(port, 4, New);
  EXPECT_EQ(st.sentFrames(port).size(), 2u);
  status.intfStatusDel(port);
  st.request(port, 6, New);
  EXPECT_EQ(st.sent(), Texts{}) << "no MTU, no such limit";
  status.intfStatusIs(port, {.mtu = 60});
  st.request(port, 8, New);
  EXPECT_EQ(st.sentFrames(port).size(), 2u);
}

TEST_F(TransmitTest, PacketIsFullAt1436Octets) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  // 286 vectors make 1432 octets; twelve more values in sequence add four.
  std::uint16_t id = 0;
  for (int i = 0; i < 286; ++i) st.request(port, id = static_cast<std::uint16_t>(id + 2), New);
  for (int i = 0; i < 11; ++i) st.request(port, ++id, New);
  EXPECT_EQ(st.sent(), Texts{}) << "1435 octets";
  st.request(port, ++id, New);
  EXPECT_EQ(st.sentFrames(port).size(), 2u);
}

TEST_F(TransmitTest, TypesAscendWithinAFrame) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.request(port, 1, talker(0x1001), JoinIn);
  st.request(port, 2, failed(0x1002), JoinIn);
  st.request(port, 3, listener(0x1003, askingFailed), JoinIn);
  st.request(port, 3, listener(0x1004, ready), JoinIn);
  EXPECT_EQ(st.sent(port), Texts{});
  st.request(port, 2, failed(0x1005), JoinIn);
  const std::string first = "1:1001=JoinMt | 2:1002=JoinMt | 3:1003=JoinMt/1,JoinMt/2";
  EXPECT_EQ(st.sent(port), (Texts{first, first})) << "a lower type begins a new frame";
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"2:1005=JoinMt", "2:1005=JoinMt"}));
  // Withdrawals use the first packet alone, so the two may break at different places.
  st.request(port, 3, listener(0x1003, askingFailed), JoinIn);
  st.request(port, 1, talker(0x1001), Lv);
  st.request(port, 4, domain(6, 3, 2), New);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port),
            (Texts{"3:1003=JoinMt/1", "1:1001=Lv | 4:6=New", "3:1003=JoinMt/1 | 4:6=New"}));
}

// The value that a number stands for: of talkers the stream and, behind the point, the address; of
// listeners stream and declaration, of domains class and priority.
Octets valueOf(const App& app, std::uint8_t type, const std::string& text) {
  const std::uint64_t id = std::stoull(text, nullptr, 16);
  const std::string rest = text.substr(text.find('.') + 1);
  const std::uint64_t with = rest.empty() ? 0 : std::stoull(rest, nullptr, 16);
  if (app.application == MrpApplication::mvrp) return vlan(static_cast<std::uint16_t>(id));
  if (type == 1) return talker(id, with, static_cast<std::uint32_t>(id));
  if (type == 3) return listener(id, static_cast<Declaration>(with));
  return domain(static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(with), 2);
}

TEST_F(TransmitTest, ValuesShareAVectorWhileTheirIdentitiesFollow) {
  const struct {
    const char* name;
    const App& app;
    std::uint8_t type;
    const char* values;
    std::string text;
  } cases[] = {
      {"talkers", kMsrp, 1, "1.7 2.8 3.9", "1:1=New,New,New"},
      {"another address", kMsrp, 1, "1.7 2.7", "1:1=New; 1:2=New"},
      {"stream wraps", kMsrp, 1, "ffffffffffffffff.7 0.8", "1:ffffffffffffffff=New,New"},
      {"address does not", kMsrp, 1, "1.ffffffffffff 2.0", "1:1=New; 1:2=New"},
      {"listeners", kMsrp, 3, "fffffffffffffffe.1 ffffffffffffffff.3 0.2 1.2 2.0",
       "3:fffffffffffffffe=New/1,New/3,New/2,New/2,New/0"},
      {"a gap", kMsrp, 3, "1.2 3.2 4.0", "3:1=New/2; 3:3=New/2,New/0"},
      {"domains", kMsrp, 4, "5.2 6.3", "4:5=New,New"},
      {"descending classes", kMsrp, 4, "6.3 5.2", "4:6=New; 4:5=New"},
      {"priority apart", kMsrp, 4, "5.2 6.2", "4:5=New; 4:6=New"},
      {"no wrap at 8 bits", kMsrp, 4, "ff.2 0.3", "4:255=New; 4:0=New"},
      {"the same twice", kMvrp, 1, "a. a.", "1:10=New; 1:10=New"},
      {"VLANs", kMvrp, 1, "a. b. c. d. f.", "1:10=New,New,New,New; 1:15=New"},
      {"no wrap at 16 bits", kMvrp, 1, "ffff. 0.", "1:65535=New; 1:0=New"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station st(c.app);
    const IntfId port = st.port(1);
    std::istringstream values(c.values);
    for (std::string value; values >> value;) {
      st.request(port, c.type, valueOf(c.app, c.type, value), New);
    }
    st.clock->run(0.1);
    EXPECT_EQ(st.sent(port), (Texts{c.text, c.text}));
  }
}

// The application declares another VLAN on another port while the first one's packet is handed to
// its endpoint: what is stored, and declared again, is still the first one.
TEST_F(TransmitTest, RequestsInsideATransmissionLeaveItsValueAlone) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1, 60), p2 = st.port(2);
  bool requested = false;
  st.sw->onTransmit([&](IntfId intf, const Pkt&) {
    if (intf == p1 && !std::exchange(requested, true)) st.request(p2, 4000, New);
  });
  st.request(p1, 574, New);
  EXPECT_TRUE(requested) << "one vector fills a packet";
  EXPECT_EQ(st.value(p1, 1, 574), vlan(574));
  EXPECT_EQ(st.value(p2, 1, 4000), vlan(4000));
  st.sent();
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(p1), Texts{"1:LA 574=JoinMt"});
}

TEST_F(TransmitTest, SuppressionDropsWithoutATrace) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.config->txSuppressIs(true);
  st.request(port, 10, New);
  st.clock->run(0.1);
  st.config->txSuppressIs(false);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(), Texts{});
  EXPECT_EQ(st.engine->counters()->numOfPktsTransmitted(), 0u);
  EXPECT_EQ(st.attribute(port, 1, 10), "QA/MT") << "the Applicant believes that it was sent";
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(port), Texts{"1:LA 10=JoinMt"}) << "the next LeaveAll repairs it";
}

TEST_F(TransmitTest, AllocationFailureIsRecordedAndPassesOver) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.sw->pktAllocator().failNext(1);
  st.request(port, 10, New);
  ASSERT_EQ(st.sw->trace().ring().size(), 1u);
  EXPECT_EQ(st.sw->trace().ring()[0].text, "packet allocation failed for {port1 1 0}");
  st.clock->run(0.1);
  // The second packet was to be had; it leaves with the first of its port.
  EXPECT_EQ(st.sent(), Texts{});
  st.request(port, 20, New);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:20=New", "1:10=New; 1:20=New"}));
  st.sw->pktAllocator().failAll(true);
  st.clock->runUntil(10);
  EXPECT_EQ(st.sent(), Texts{});
  st.sw->pktAllocator().failAll(false);
  st.request(port, 30, New);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:30=New", "1:30=New"})) << "a LeaveAll that failed is not kept";
  st.clock->runUntil(20);
  EXPECT_EQ(st.sent(port), Texts{"1:LA 10=JoinMt; 1:20=JoinMt; 1:30=JoinMt"});
}

TEST_F(TransmitTest, WithoutEndpointRecordsAreKeptAndNothingIsSent) {
  Station st(kMvrp);
  const IntfId nowhere("port7");
  st.request(nowhere, 10, New);
  st.clock->run(0.2);
  EXPECT_EQ(st.attributes(nowhere), Texts{"1:10 QA/MT"});
  EXPECT_EQ(st.committed(nowhere, 1), 1u);
  EXPECT_TRUE(st.lib->txPackets(false).contexts().empty());
  // A packet that is open when the device goes away waits for it to come back.
  const IntfId port = st.port(1);
  st.request(port, 20, New);
  st.sw->portDel(port);
  st.clock->run(1);
  EXPECT_EQ(st.sent(), Texts{});
  st.port(1);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(port), (Texts{"1:20=New", "1:20=New"}));
  EXPECT_EQ(st.engine->counters()->numOfPktsTransmitted(), 2u);
}

TEST_F(TransmitTest, RequestsActOncePerQueuedPortOnTheirOwnPort) {
  Station st(kMvrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  st.lib->mvrpVlanVectorTx().vlanId = 10;
  MrpParameters parameters;
  parameters.intfId = p1;
  parameters.attributeType = 1;
  parameters.attributeEvent = New;
  st.lib->mrpSendAttribute(parameters);
  EXPECT_EQ(st.attributes(p1), Texts{}) << "no port is queued";
  st.lib->mrpOutIntfQueueEnq(p2);
  st.lib->mrpOutIntfQueueEnq(p1);
  st.lib->mrpSendAttribute(parameters);
  st.clock->run(0.1);
  EXPECT_EQ(st.sent(), (Texts{"port1 1:10=New; 1:10=New", "port1 1:10=New; 1:10=New"}));
  EXPECT_EQ(st.attributes(p2), Texts{});
  for (const std::uint8_t event : {In, Mt, static_cast<Event>(8), static_cast<Event>(255)}) {
    st.request(p2, 1, vlan(30), static_cast<Event>(event));
  }
  st.lib->mrpJoinReq(parameters);
  st.lib->mrpLeaveReq(parameters);
  EXPECT_EQ(st.attributes(p2), Texts{});
  EXPECT_EQ(st.attribute(p1, 1, 10), "QA/MT");
}

}  // namespace
}  // namespace EngineTest
