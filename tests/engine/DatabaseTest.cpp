// Deferred additions and deletions, and the attribute log that holds them back.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

class DatabaseTest : public EngineTest {};

TEST_F(DatabaseTest, AddedIsFoundAtOnceAndCommittedLater) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.request(port, 10, New);
  const MrpAttrDatabase* record = st.record(port, 1, 10);
  ASSERT_TRUE(record);
  st.clock->runUntil(0.09);
  EXPECT_EQ(st.committed(port, 1), 0u);
  st.clock->runUntil(0.1);
  EXPECT_EQ(st.committed(port, 1), 1u);
  EXPECT_EQ(st.attribute(port, 1, 10), "QA/MT");
  EXPECT_EQ(st.record(port, 1, 10), record) << "where it stood";
}

TEST_F(DatabaseTest, AddedAndDeletedBetweenReviewsLeavesNoTrace) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  st.request(port, 10, New);
  st.request(port, 10, Lv);
  EXPECT_EQ(st.attributes(port), Texts{});
  st.clock->run(1);
  EXPECT_EQ(st.committed(port, 1), 0u);
  st.sent();
  st.receive(port, vlans(99, {Mt}, true));
  EXPECT_EQ(st.sent(), Texts{}) << "nobody answers a LeaveAll for it";
}

TEST_F(DatabaseTest, DeletedIsHiddenAndRevivedWithFreshStates) {
  Station st(kMsrp);
  const IntfId port = st.port(1);
  st.receive(port, streams(1, talker(0x1001), {JoinIn}));
  st.request(port, 1, talker(0x1002), New);
  st.clock->run(0.2);
  st.request(port, 1, talker(0x1002), Lv);
  st.request(port, 1, talker(0x1001), InternalLeave);
  EXPECT_EQ(st.attributes(port), Texts{});
  EXPECT_EQ(st.committed(port, 1), 2u);
  st.lib->take();
  st.receive(port, streams(1, talker(0x1001, 1), {JoinIn}));
  EXPECT_EQ(st.lib->take(), Texts{"+1:1001 JoinIn port1"}) << "registered anew";
  EXPECT_EQ(st.attributes(port), Texts{"1:1001 AO/IN"});
  st.clock->run(1);
  EXPECT_EQ(st.committed(port, 1), 1u) << "one deletion was cancelled";
  EXPECT_EQ(st.value(port, 1, 0x1001), talker(0x1001, 1));
  st.sent();
  st.receive(port, pdu(message(kMsrp, 1, leaveAllVec(25))));
  EXPECT_EQ(st.sent(port), Texts{"1:1001=Mt"}) << "a LeaveAll sees it";
}

TEST_F(DatabaseTest, ReviewsTakeCreditsThatComeBackEachSecond) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  const double requests[] = {0, 0.15, 0.3, 0.45, 0.6};
  for (std::uint16_t i = 0; i < 5; ++i) {
    st.clock->runUntil(requests[i]);
    st.request(port, static_cast<std::uint16_t>(10 + i), New);
    EXPECT_EQ(st.committed(port, 1), i);
    if (i == 4) break;
    st.clock->run(0.1);
    EXPECT_EQ(st.committed(port, 1), i + 1u);
  }
  st.clock->runUntil(0.99);
  EXPECT_EQ(st.committed(port, 1), 4u) << "no credit is left";
  st.clock->runUntil(1);
  EXPECT_EQ(st.committed(port, 1), 5u) << "served with the credit itself";
  st.request(port, 20, New);
  st.request(port, 10, Lv);
  st.clock->run(0.1);
  EXPECT_EQ(st.committed(port, 1), 4u) << "deletions have credits of their own";
  st.clock->runUntil(2);
  EXPECT_EQ(st.committed(port, 1), 5u);
}

// A log over the real socket that fills it up at a given question, and may not know its size.
struct FillingLog final : AttrLogOutput {
  explicit FillingLog(Embedded::AttrLogSocket& socket) : inner(socket) {}
  int sockFd() const override { return inner.sockFd(); }
  std::optional<int> sendBufferSize(int fd) const override {
    return sizeKnown ? inner.sendBufferSize(fd) : std::nullopt;
  }
  std::optional<int> sendQueueOctets(int fd) const override {
    if (questions > 0 && --questions == 0) inner.queueOctetsIs(1'000'000);
    return inner.sendQueueOctets(fd);
  }
  Embedded::AttrLogSocket& inner;
  mutable int questions = 0;
  bool sizeKnown = true;
};

TEST_F(DatabaseTest, LogThatClogsBetweenEntriesStopsThere) {
  Station st(kMvrp, Station::Start::none);
  auto log = makePtr<FillingLog>(st.sw->attrLog());
  st.sw->stateDatabase()->attrLogIs(log);
  st.start();
  const IntfId p1 = st.port(1), p2 = st.port(2);
  for (const auto id : std::vector<std::uint16_t>{30, 10, 20}) st.request(p2, id, New);
  st.request(p1, 5, New);
  log->questions = 3;
  st.clock->run(0.1);
  EXPECT_EQ(st.committed(p1, 1), 1u);
  EXPECT_EQ(st.committed(p2, 1), 1u);
  EXPECT_TRUE(st.record(p2, 1, 10)->committed()) << "in order of port and key";
  st.clock->run(3);
  EXPECT_EQ(st.committed(p2, 1), 1u);
  log->inner.queueOctetsIs(0);
  st.clock->run(0.1);
  EXPECT_EQ(st.committed(p2, 1), 3u) << "a retry needs no credit";
  for (const auto id : std::vector<std::uint16_t>{30, 10, 20}) st.request(p2, id, Lv);
  log->questions = 2;
  st.clock->run(0.5);
  EXPECT_EQ(st.committed(p2, 1), 2u);
  EXPECT_FALSE(st.engine->database().typeApplicant(p2, 1)->mrpAttribute(10));
  // What waits to be deleted may come back meanwhile.
  st.request(p2, 30, New);
  log->inner.queueOctetsIs(0);
  st.clock->run(0.1);
  EXPECT_EQ(st.attributes(p2), Texts{"1:30 QA/MT"});
  EXPECT_EQ(st.committed(p2, 1), 1u);
}

TEST_F(DatabaseTest, CloggedMeansMoreThanHalfTheSendBuffer) {
  Station st(kMvrp);
  const IntfId port = st.port(1);
  auto commits = [&] {
    static std::uint16_t id = 100;
    const std::size_t before = st.committed(port, 1);
    st.request(port, ++id, New);
    st.clock->run(2);
    return st.committed(port, 1) > before;
  };
  st.sw->attrLog().queueOctetsIs(106496);
  EXPECT_TRUE(commits());
  st.sw->attrLog().queueOctetsIs(106497);
  EXPECT_FALSE(commits());
  st.sw->attrLog().close();
  EXPECT_TRUE(commits()) << "without a socket it is never clogged";
  st.sw->attrLog().reopen();
  st.sw->attrLog().queueOctetsIs(1'000'000);
  EXPECT_FALSE(commits()) << "the new socket is watched";
  st.sw->attrLog().reopen();
  EXPECT_TRUE(commits());
}

TEST_F(DatabaseTest, BufferOfUnknownSizeIsAlwaysClogged) {
  Station st(kMvrp, Station::Start::none);
  auto log = makePtr<FillingLog>(st.sw->attrLog());
  log->sizeKnown = false;
  st.sw->stateDatabase()->attrLogIs(log);
  st.start();
  const IntfId port = st.port(1);
  st.request(port, 10, New);
  st.clock->run(1);
  EXPECT_EQ(st.committed(port, 1), 0u);
  log->inner.close();
  log->onSockFd().notify();
  st.clock->run(0.1);
  EXPECT_EQ(st.committed(port, 1), 1u);
}

TEST_F(DatabaseTest, DisablingAPortDeletesAllItsAttributesLater) {
  Station st(kMsrp);
  const IntfId p1 = st.port(1), p2 = st.port(2);
  for (const IntfId p : {p1, p2}) {
    st.receive(p, streams(1, talker(0x1001), {JoinIn, JoinIn}));
    st.request(p, 4, domain(6, 3, 2), JoinIn);
  }
  st.clock->run(0.2);
  st.request(p1, 3, listener(0x1001, ready), New);
  st.lib->mrpInterfaceDisable(p1);
  EXPECT_EQ(st.attributes(p1), Texts{});
  EXPECT_EQ(st.attributes(p2).size(), 3u);
  EXPECT_EQ(st.committed(p1, 1), 2u);
  st.lib->mrpInterfaceEnable(p1);
  st.receive(p1, streams(1, talker(0x1002), {JoinIn}));
  st.clock->run(1);
  EXPECT_EQ(st.attributes(p1), Texts{"1:1002 AO/IN"});
  EXPECT_EQ(st.committed(p1, 1) + st.committed(p1, 3) + st.committed(p1, 4), 1u);
}

}  // namespace
}  // namespace EngineTest
