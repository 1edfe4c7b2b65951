// What a neighbour may hold, and what is left of what it sends.

#include <malloc.h>

#include "tests/Slower.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

// An engine with one port, told of more attributes than it takes.
struct Bounded : Station {
  explicit Bounded(const App& of) : Station(of), in(port(1)) { config->recommendedLimitsAre(); }

  std::size_t held(IntfId intf, std::uint8_t type) const {
    return status->application(app.application)->typeApplicant(intf, type)->heldByPeer();
  }
  // `count` attributes from `first` on, 4,000 events to a frame.
  void flood(IntfId intf, std::uint8_t type, std::uint64_t first, std::size_t count, Event event) {
    for (std::size_t done = 0; done < count;) {
      const std::size_t n = std::min<std::size_t>(count - done, 4000);
      const std::uint64_t at = first + done;
      const Octets value = app.application == MrpApplication::mvrp
                               ? vlan(static_cast<std::uint16_t>(at))
                           : type == 1 ? talker(at)
                           : type == 2 ? failed(at)
                                       : stream(at);
      const std::size_t declarations = type == 3 ? n : 0;
      receive(intf, pdu(message(app, type,
                                vec(value, Events(n, event), false,
                                    std::vector<std::uint8_t>(declarations, ready)))));
      done += n;
    }
  }
  std::uint64_t refused() const { return engine->counters()->numOfRefusedEvents(); }

  IntfId in;
};

using BoundsTest = EngineTest;

TEST_F(BoundsTest, FloodEndsAtTheLimitOfEachPortAndTypeAndWhatIsThereGoesOn) {
  struct Case {
    const App& app;
    std::uint8_t type;
    std::size_t limit;
  };
  for (const Case& c :
       {Case{kMvrp, 1, 4096}, Case{kMsrp, 1, 8192}, Case{kMsrp, 2, 8192}, Case{kMsrp, 3, 8192}}) {
    SCOPED_TRACE(testing::Message() << stringValue(c.app.application) << " type " << +c.type);
    Bounded st(c.app);
    const IntfId other = st.port(2);
    st.flood(st.in, c.type, 1, c.limit, JoinMt);
    EXPECT_EQ(st.refused(), 0u);
    st.lib->take();
    st.logged();
    st.sent();
    const std::uint64_t beyond = c.limit + 1;
    for (const Event event : {JoinMt, New, In, Mt, Lv}) st.flood(st.in, c.type, beyond, 900, event);
    EXPECT_EQ(st.lib->take(), Texts{});
    EXPECT_EQ(st.sent(), Texts{}) << "no answer";
    EXPECT_EQ(st.refused(), 5 * 900u);
    EXPECT_EQ(st.records(st.in, c.type), c.limit);
    EXPECT_EQ(st.logged(), Texts{"MRP_ERROR Attribute limit " + std::to_string(c.limit) +
                                 " reached on port1, attrType: " + std::to_string(c.type) +
                                 ", events ignored: 1"});
    // Refreshed, withdrawn and revived as ever; the same key on another port is another matter.
    st.flood(st.in, c.type, 1, c.limit, JoinIn);
    EXPECT_EQ(st.attribute(st.in, c.type, 7), "AO/IN");
    st.flood(other, c.type, beyond, 1, JoinMt);
    EXPECT_EQ(st.attribute(other, c.type, beyond), "VO/IN");
    st.clock->run(0.1);
    st.flood(st.in, c.type, 7, 2, Lv);
    st.lib->take();
    st.clock->run(0.65);
    EXPECT_EQ(st.lib->take().size(), 2u) << "left";
    EXPECT_EQ(st.attribute(st.in, c.type, 7), "none");
    st.flood(st.in, c.type, 7, 1, JoinMt);
    EXPECT_EQ(st.attribute(st.in, c.type, 7), "VO/IN") << "its hidden record is its own";
    EXPECT_EQ(st.refused(), 5 * 900u);
    st.clock->run(2);
    st.flood(st.in, c.type, beyond, 2, JoinMt);
    EXPECT_EQ(st.attribute(st.in, c.type, beyond), "VO/IN") << "the other one's room is free";
    EXPECT_EQ(st.refused(), 5 * 900 + 1u);
    EXPECT_EQ(st.records(st.in, c.type), c.limit);
  }
}

TEST_F(BoundsTest, OneMessageInAnIntervalSaysHowMuchWasIgnored) {
  Bounded st(kMvrp);
  const IntfId other = st.port(2);
  st.config->leaveAllTimeIs(1e6);
  st.config->vlanLimitIs(1);
  const auto reached = [](const std::string& port, const std::string& ignored) {
    return "MRP_ERROR Attribute limit 1 reached on " + port +
           ", attrType: 1, events ignored: " + ignored;
  };
  for (const IntfId intf : {st.in, other}) st.flood(intf, 1, 1, 1, JoinIn);
  st.logged();
  st.clock->run(5);
  st.flood(st.in, 1, 10, 3, JoinIn);
  st.clock->run(5);
  st.flood(other, 1, 10, 1, JoinIn);
  st.clock->run(4.9);
  st.flood(st.in, 1, 10, 3, JoinIn);
  EXPECT_EQ(st.logged(), (Texts{reached("port1", "1"), reached("port2", "1")}));
  st.clock->run(0.1);
  st.flood(st.in, 1, 20, 2, JoinIn);
  st.clock->run(60);
  EXPECT_EQ(st.logged(), Texts{reached("port1", "6")});
  st.config->vlanLimitIs(0);
  st.flood(st.in, 1, 1, 4900, New);
  EXPECT_EQ(st.records(st.in, 1), 4900u) << "no limit";
  EXPECT_EQ(st.refused(), 9u);
}

TEST_F(BoundsTest, OwnDeclarationsAreNeitherRefusedNorCounted) {
  Bounded st(kMsrp);
  st.config->listenerLimitIs(4);
  const auto own = [&](std::uint64_t first, Event event) {
    for (std::uint64_t id = first; id < first + 8; ++id) {
      st.request(st.in, 3, listener(id, ready), event);
    }
  };
  own(100, JoinIn);
  EXPECT_EQ(st.held(st.in, 3), 0u);
  st.flood(st.in, 3, 1, 5, JoinIn);
  EXPECT_EQ(st.held(st.in, 3), 4u) << "a table of our own leaves the neighbour its room";
  own(200, New);
  EXPECT_EQ(st.records(st.in, 3), 20u);
  EXPECT_EQ(st.refused(), 1u);
  // What the neighbour registers of ours is its part too. Declared and withdrawn in turn, it would
  // otherwise keep ever more.
  st.lib->take();
  st.clock->run(0.1);
  st.sent();
  st.flood(st.in, 3, 100, 1, JoinMt);
  EXPECT_EQ(st.refused(), 2u);
  EXPECT_EQ(st.lib->take(), Texts{});
  EXPECT_EQ(st.sent(), Texts{"port1 3:64=JoinMt/2"}) << "our declaration answers as ever";
  EXPECT_EQ(st.attribute(st.in, 3, 100), "QA/MT");
  st.flood(st.in, 3, 1, 4, Lv);
  st.clock->run(2.5);
  EXPECT_EQ(st.held(st.in, 3), 0u);
  st.flood(st.in, 3, 100, 8, JoinIn);
  EXPECT_EQ(st.attribute(st.in, 3, 103), "QA/IN");
  EXPECT_EQ(st.attribute(st.in, 3, 104), "QA/MT");
  EXPECT_EQ(st.held(st.in, 3), 4u);
  own(100, Lv);
  EXPECT_EQ(st.attribute(st.in, 3, 103), "VO/IN") << "registered, and no longer declared";
  st.clock->run(2);
  EXPECT_EQ(st.held(st.in, 3), 4u);
  EXPECT_EQ(st.records(st.in, 3), 12u);
  // An attribute that the application takes out while it declares it.
  own(200, InternalLeave);
  st.flood(st.in, 3, 200, 8, JoinIn);
  EXPECT_EQ(st.records(st.in, 3), 12u);
  st.clock->run(2);
  EXPECT_EQ(st.held(st.in, 3), 4u);
  EXPECT_EQ(st.records(st.in, 3), 4u);
}

TEST_F(BoundsTest, AnEngineThatTakesOverCountsWhatItIsGiven) {
  Bounded st(kMvrp);
  st.config->vlanLimitIs(3);
  st.flood(st.in, 1, 1, 2, JoinIn);
  st.request(st.in, 50, JoinIn);
  st.clock->run(0.2);
  Bounded next(kMvrp);
  copyCommitted(*st.status->application(kMvrp.application),
                *next.status->application(kMvrp.application));
  EXPECT_EQ(next.held(next.in, 1), 2u);
  // Disabling the port ends everything on it.
  st.lib->mrpInterfaceDisable(st.in);
  st.clock->run(3);
  EXPECT_EQ(st.held(st.in, 1), 0u);
  EXPECT_EQ(st.records(st.in, 1), 0u);
}

TEST_F(BoundsTest, WhatUnknownAttributesLeaveBehind) {
  struct Case {
    const char* name;
    Events events;  // in one frame each
    std::size_t atOnce, afterLeaveTime, afterReview;
  };
  // An In, Mt or Lv of an unknown attribute leaves nothing. A join that is taken back stays for the
  // leave time, then hidden until the review.
  for (const Case& c :
       {Case{"In", {In}, 0, 0, 0}, Case{"Mt", {Mt}, 0, 0, 0}, Case{"Lv", {Lv}, 0, 0, 0},
        Case{"JoinLv", {JoinIn, Lv}, 300, 300, 0}, Case{"NewLv", {New, Lv}, 300, 300, 0}}) {
    SCOPED_TRACE(c.name);
    Bounded st(kMsrp);
    for (const std::uint8_t event : c.events) {
      st.flood(st.in, 3, 0xffffffffffffff00, 300, static_cast<Event>(event));
    }
    EXPECT_EQ(st.records(st.in, 3), c.atOnce);
    st.clock->run(0.65);
    EXPECT_EQ(st.attributes(st.in), Texts{});
    EXPECT_EQ(st.records(st.in, 3), c.afterLeaveTime);
    st.clock->run(0.2);
    EXPECT_EQ(st.records(st.in, 3), c.afterReview);
  }
  // One that the application refuses waits for the next LeaveAll, in a state that it may leave by a
  // refresh.
  Bounded st(kMvrp);
  st.lib->onJoin = [](const MrpParameters&) { return true; };
  st.flood(st.in, 1, 1, 3, JoinMt);
  EXPECT_EQ(st.records(st.in, 1), 0u);
  st.flood(st.in, 1, 1, 3, JoinIn);
  EXPECT_EQ(st.attribute(st.in, 1, 1), "AO/MT");
  st.clock->run(11.5);
  EXPECT_EQ(st.records(st.in, 1), 0u);
}

std::size_t allocatedOctets() { return ::mallinfo2().uordblks + ::mallinfo2().hblkhd; }

// `step` is the distance of neighbouring keys: VLAN identifiers that are far apart share no pages,
// streams share theirs in any order. Churn moves on to as many other keys, VLANs to other pages.
TEST_F(BoundsTest, ATableAtItsLimitTakesAKnownAmountOfMemory) {
  struct Case {
    const App& app;
    std::uint8_t type;
    std::uint64_t step;
    std::size_t limit, octets;
  };
  for (const Case& c :
       {Case{kMvrp, 1, 1, 4096, 600'000}, Case{kMvrp, 1, 16, 4096, 4'400'000},
        Case{kMsrp, 1, 1, 8192, 1'400'000}, Case{kMsrp, 3, 0x9e3779b97f4a7c15, 8192, 1'400'000}}) {
    SCOPED_TRACE(testing::Message() << stringValue(c.app.application) << " step " << c.step);
    Bounded st(c.app);
    st.sw->eventLog().onIs(false);
    st.flood(st.in, c.type, 0, 1, JoinMt);
    const auto declare = [&](std::uint64_t from, std::uint64_t to, Event event) {
      for (std::uint64_t i = from; i < to; ++i) {
        st.flood(st.in, c.type, i * c.step, 1, event);
        st.lib->take();
      }
      st.clock->run(1);
      st.lib->take();
      st.sent();
    };
    const std::size_t before = allocatedOctets();
    declare(0, c.limit + 10, JoinMt);
    EXPECT_EQ(st.records(st.in, c.type), c.limit);
    EXPECT_LE(allocatedOctets() - before, c.octets);
    for (std::uint64_t i = 0; i < c.limit; i += c.limit / 8) {
      declare(i, i + c.limit / 8, Lv);
      declare(c.limit + i, c.limit + i + c.limit / 8, JoinMt);
    }
    EXPECT_LE(allocatedOctets() - before, c.octets) << "churned";
  }
}

// Everything that a neighbour can do to make an engine keep things, with keys that never return,
// for three minutes. `clogged` stops the reviews.
TEST_F(BoundsTest, AHostileNeighbourComesToAnEnd) {
  for (const bool clogged : {false, true}) {
    SCOPED_TRACE(clogged);
    Bounded st(kMsrp);
    constexpr std::size_t kLimit = 500;
    st.config->talkerAdvertiseLimitIs(kLimit);
    st.request(st.in, 1, talker(5), JoinIn);
    st.clock->run(0.2);
    if (clogged) st.sw->attrLog().queueOctetsIs(1'000'000);
    std::uint64_t key = 1000;
    std::size_t most = 0;
    for (unsigned round = 0; round < 1800 / kSlower; ++round) {
      const Event last = round % 3 == 0 ? Lv : round % 3 == 1 ? Mt : In;
      st.flood(st.in, 1, key, 40, New);
      st.flood(st.in, 1, key, 40, last);
      st.flood(st.in, 1, key - 300, 40, Lv);
      st.flood(st.in, 1, key + 5000, 40, last);
      if (round % 50 == 0) st.receive(st.in, pdu(message(kMsrp, 1, leaveAllVec(25))));
      st.flood(st.in, 1, 5, 1, JoinIn);
      key += 40;
      st.clock->run(0.1);
      most = std::max(most, st.records(st.in, 1));
      ASSERT_LE(st.held(st.in, 1), kLimit);
    }
    EXPECT_LE(most, kLimit + 1);
    EXPECT_GT(most, kLimit / 2) << "the limit was tried";
    EXPECT_EQ(st.attribute(st.in, 1, 5).substr(0, 2), "QA");
    st.sw->attrLog().queueOctetsIs(0);
    st.clock->run(20);
    EXPECT_EQ(st.records(st.in, 1), 1u) << "all that is left is our own";
  }
}

}  // namespace
}  // namespace EngineTest
