// An active and a standby side with one state database, and a neighbour that hears whichever has
// endpoints: what survives the end of the active side, at any moment of a LeaveAll period.
//
//   active:port1  ----- wire -----+
//                                 +----- port1:neighbour
//   standby:port1 ----- wire -----+
//
// Each side has its own copy of the database, since leave timers live in the records. The copy is
// taken at the cut: it is what a database that follows every commit at once holds then.

#include <algorithm>
#include <optional>

#include "platform/embedded/Wire.h"
#include "tests/Slower.h"
#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

using Embedded::Wire;

const IntfId kPort("port1");
constexpr double kDelay = 1e-3;
constexpr double kPeriod = 10;
constexpr double kLeave = 0.6;

struct Declared {
  std::uint8_t type;
  Octets value;
  std::uint64_t key;
};

struct Story {
  App app;
  std::vector<Declared> ours, theirs;
};

const Story kVlans{kMvrp,
                   {{1, vlan(10), 10}, {1, vlan(11), 11}, {1, vlan(500), 500}},
                   {{1, vlan(11), 11}, {1, vlan(12), 12}, {1, vlan(4094), 4094}}};
const Story kStreams{kMsrp,
                     {{1, talker(0x1001), 0x1001},
                      {2, failed(0x1002), 0x1002},
                      {3, listener(0x2001, ready), 0x2001},
                      {4, domain(6, 3, 2), 6}},
                     {{1, talker(0x2001), 0x2001},
                      {3, listener(0x1001, readyFailed), 0x1001},
                      {4, domain(6, 3, 2), 6}}};

// Whose LeaveAll timer runs out first, every 10 s: a received LeaveAll puts off one's own.
struct Rhythm {
  const char* name;
  double ours, theirs;
};
constexpr Rhythm kRhythms[] = {{"ours", kPeriod, 17}, {"theirs", 17, kPeriod}, {"both", 10, 10}};

// How long registrations are not in force, with the clock followed from event to event.
class Watch {
 public:
  Watch(const Station& st, const std::vector<Declared>& keys)
      : st_(st), keys_(keys), since_(keys.size()) {}
  void look(double now) {
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      const bool in = registered(keys_[i]);
      if (!in && !since_[i]) since_[i] = now;
      if (since_[i]) longest = std::max(longest, now - *since_[i]);
      if (in) since_[i].reset();
    }
  }
  bool registered(const Declared& what) const {
    const MrpAttrDatabase* record = st_.record(kPort, what.type, what.key);
    return record && record->registrarState() == Registrar::in;
  }
  bool exact() const {
    std::size_t total = 0;
    for (std::uint8_t type = 1; type <= st_.app.types; ++type) {
      total += st_.registered(kPort, type).size();
    }
    return total == keys_.size() &&
           std::ranges::all_of(keys_, [this](const Declared& d) { return registered(d); });
  }

  double longest = 0;

 private:
  const Station& st_;
  const std::vector<Declared>& keys_;
  std::vector<std::optional<double>> since_;
};

std::size_t leaves(const Station& st) {
  return static_cast<std::size_t>(
      std::ranges::count_if(st.lib->log, [](const std::string& line) { return line[0] == '-'; }));
}

struct SwitchOver {
  SwitchOver(const Story& of, const Rhythm& rhythm) : story(of) {
    active.config->leaveAllTimeIs(rhythm.ours);
    standby.config->leaveAllTimeIs(rhythm.ours);
    neighbour.config->leaveAllTimeIs(rhythm.theirs);
    for (Station* st : {&active, &standby, &neighbour}) st->lib->mrpInterfaceEnable(kPort);
    for (const auto& d : story.ours) active.request(kPort, d.type, d.value, JoinIn);
    for (const auto& d : story.theirs) neighbour.request(kPort, d.type, d.value, JoinIn);
  }

  // From event to event.
  void runUntil(double t) {
    const auto look = [this] {
      if (clock->now().value() < kSettled) return;
      atNeighbour.look(clock->now().value());
    };
    while (clock->nextDue() && *clock->nextDue() <= Seconds(t)) {
      clock->runUntil(*clock->nextDue());
      look();
    }
    clock->runUntil(t);
    look();
  }

  // The endpoints of the active side are gone; its engine is not told to end, and goes on.
  void cut(bool framesLost = false) {
    if (framesLost) toActive.up(false);
    active.sw->portDel(kPort);
    copyCommitted(*active.status->application(story.app.application),
                  *standby.status->application(story.app.application));
  }

  // Each side has registered what the other declares, unless a LeaveAll is just being answered.
  bool exact() {
    const Watch here(standby, story.theirs);
    if (!atNeighbour.exact() || !here.exact()) runUntil(clock->now().value() + 5 * kDelay);
    return atNeighbour.exact() && here.exact();
  }

  void leaveAll() { standby.engine->sendLeaveAll(kPort); }

  static constexpr double kSettled = kPeriod - 0.5;
  const Story& story;
  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  Station active{story.app, Station::Start::active, clock};
  Station standby{story.app, Station::Start::standby, clock};
  Station neighbour{story.app, Station::Start::active, clock};
  // The standby side hears each frame first, and so has missed what the active side is handling.
  Wire toStandby{*neighbour.sw, neighbour.port(1), *standby.sw, standby.port(1), {.delay = kDelay}};
  Wire toActive{*neighbour.sw, kPort, *active.sw, active.port(1), {.delay = kDelay}};
  Watch atNeighbour{neighbour, story.ours};
};

// A period in a hundred parts, the middle of each, and the flights of a LeaveAll that leaves at 10
// s and of its answer.
std::vector<double> phases() {
  std::vector<double> at{10 + kDelay / 2, 10 + kDelay, 10 + 1.5 * kDelay, 10 + 2 * kDelay,
                         10 + 2.5 * kDelay};
  constexpr int kParts = 100 / kSlower;
  for (int i = 0; i < kParts; ++i) {
    at.push_back(kPeriod + i * kPeriod / kParts);
    at.push_back(at.back() + kPeriod / (2 * kParts));
  }
  return at;
}

struct Case {
  const char* name;
  const Story& story;
};
class SwitchOverTest : public EngineTest, public testing::WithParamInterface<Case> {
 protected:
  // Calls `run(rhythm, phase)` for each rhythm and phase.
  template <class Run>
  static void everyPhase(Run run) {
    for (const Rhythm& rhythm : kRhythms) {
      for (const double at : phases()) {
        SCOPED_TRACE(std::string(rhythm.name) + " LeaveAlls, cut at " + std::to_string(at));
        run(rhythm, at);
        if (HasFailure()) return;
      }
    }
  }
  const Story& story = GetParam().story;
};
INSTANTIATE_TEST_SUITE_P(Applications, SwitchOverTest,
                         testing::Values(Case{"mvrp", kVlans}, Case{"msrp", kStreams}),
                         [](const auto& c) { return c.param.name; });

// The other side is active at the very instant: whoever asks with a LeaveAll is answered in time,
// and neither side lets go of anything.
TEST_P(SwitchOverTest, NothingIsDroppedAtAnyPhase) {
  double slowest = 0;
  everyPhase([&](const Rhythm& rhythm, double at) {
    SwitchOver s(story, rhythm);
    s.runUntil(at);
    s.cut();
    s.standby.engine->activate();
    const std::size_t took = s.standby.attributes(kPort).size();
    EXPECT_EQ(took, s.active.attributes(kPort).size());
    s.runUntil(at + 2.1 * kPeriod);
    EXPECT_EQ(leaves(s.neighbour), 0u);
    EXPECT_EQ(leaves(s.standby), 0u);
    EXPECT_TRUE(s.exact());
    EXPECT_GT(s.standby.engine->counters()->numOfPktsTransmitted(), 0u);
    EXPECT_EQ(s.standby.engine->counters()->numOfMalformedPkts(), 0u);
    slowest = std::max(slowest, s.atNeighbour.longest);
  });
  EXPECT_GT(slowest, 0) << "the neighbour has asked at least once";
  EXPECT_LE(slowest, 2 * kDelay + 1e-9);
  RecordProperty("slowest_redeclaration_ms", std::to_string(slowest * 1e3));
}

// The frames in flight are lost with the active side, and half a second passes: a LeaveAll of the
// neighbour in that time is heard by nobody. An agent that sends LeaveAlls when it is activated
// declares everything with them, before the neighbour's leave timers run out.
TEST_P(SwitchOverTest, LeaveAllOnActivationBridgesHalfASecond) {
  double slowest = 0;
  everyPhase([&](const Rhythm& rhythm, double at) {
    SwitchOver s(story, rhythm);
    s.runUntil(at);
    s.cut(true);
    s.runUntil(at + 0.5);
    s.standby.engine->activate();
    s.leaveAll();
    s.runUntil(at + 0.5 + 3 * kDelay);
    EXPECT_TRUE(s.exact());
    s.runUntil(at + 2.1 * kPeriod);
    EXPECT_EQ(leaves(s.neighbour), 0u);
    EXPECT_EQ(leaves(s.standby), 0u);
    slowest = std::max(slowest, s.atNeighbour.longest);
  });
  EXPECT_GT(slowest, 0.4) << "some phase was hard";
  EXPECT_LT(slowest, kLeave);
  RecordProperty("slowest_redeclaration_ms", std::to_string(slowest * 1e3));
}

// An agent that does not: what the neighbour let go comes back with the next LeaveAll of either.
TEST_P(SwitchOverTest, WithoutItTheNextLeaveAllRepairs) {
  double slowest = 0;
  std::size_t dropped = 0;
  everyPhase([&](const Rhythm& rhythm, double at) {
    SwitchOver s(story, rhythm);
    s.runUntil(at);
    s.cut(true);
    s.runUntil(at + 1);
    s.standby.engine->activate();
    s.runUntil(at + 3.1 * kPeriod);
    EXPECT_TRUE(s.exact());
    EXPECT_EQ(leaves(s.standby), 0u) << "its own timers begin with its activation";
    dropped += leaves(s.neighbour);
    slowest = std::max(slowest, s.atNeighbour.longest);
  });
  EXPECT_GT(dropped, 0u) << "some phase was hard";
  EXPECT_LE(slowest, kPeriod + 1);
  RecordProperty("longest_outage_s", std::to_string(slowest));
}

// What was in progress. A record reaches the database 0.1 s after its attribute was new, and an
// open packet leaves within 0.1 s.
class InProgressTest : public EngineTest {
 protected:
  static constexpr double kRequest = 12.03, kOpen = 12.05, kSent = 12.115, kCommitted = 12.3;
  static bool has(const Station& st, std::uint16_t id) {
    return st.registered(kPort, 1).contains(id);
  }
  static void switchAt(SwitchOver& s, double at) {
    s.runUntil(at);
    s.cut(true);
    s.standby.engine->activate();
  }
};

// More VLANs than fit a packet, none next to another. What has not left of a LeaveAll when the
// endpoint goes is asked for by the neighbour, with Mt. What has not left of an answer is not: the
// agent's LeaveAll repeats it.
TEST_F(InProgressTest, RestOfAHalfSentAnswerIsTheAgentsToRepeat) {
  Story many{kMvrp, {}, kVlans.theirs};
  for (std::uint16_t id = 1000; id < 1800; id += 2) many.ours.push_back({1, vlan(id), id});
  for (const Rhythm& rhythm : kRhythms) {
    for (const bool asked : {false, true}) {
      SCOPED_TRACE(std::string(rhythm.name) + (asked ? ", asked" : ", not asked"));
      SwitchOver s(many, rhythm);
      s.runUntil(s.kSettled);
      int sent = 0;
      s.active.sw->onTransmit([&](IntfId, const Pkt&) {
        if (++sent != 1) return;
        s.cut();
        s.standby.engine->activate();
        if (asked) s.leaveAll();
      });
      s.runUntil(40.5);
      EXPECT_EQ(sent, 1);
      EXPECT_EQ(leaves(s.neighbour) > 0, !asked && rhythm.ours > rhythm.theirs);
      EXPECT_EQ(leaves(s.standby), 0u);
      EXPECT_TRUE(s.exact());
    }
  }
}

TEST_F(InProgressTest, DeclarationsThatAreNotCommittedAreTheApplicationsToRepeat) {
  const struct {
    const char* name;
    double cut;
    bool heard, kept;  // by the neighbour before the cut, in the database
  } cases[] = {{"open", kOpen, false, false},
               {"sent", kSent, true, false},
               {"committed", kCommitted, true, true}};
  for (const auto& c : cases) {
    for (const bool repeated : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (repeated ? ", repeated" : ", not repeated"));
      SwitchOver s(kVlans, kRhythms[0]);
      s.runUntil(kRequest);
      s.active.request(kPort, 77, New);
      switchAt(s, c.cut);
      s.runUntil(c.cut + 2 * kDelay);
      EXPECT_EQ(has(s.neighbour, 77), c.heard);
      EXPECT_EQ(s.standby.attribute(kPort, 1, 77), c.kept ? "QA/MT" : "none");
      if (repeated) s.standby.request(kPort, 77, JoinIn);
      s.runUntil(c.cut + 0.25);
      EXPECT_EQ(has(s.neighbour, 77), c.heard || repeated);
      s.runUntil(c.cut + 2.2 * kPeriod);
      EXPECT_EQ(has(s.neighbour, 77), c.kept || repeated) << "as the database says";
      EXPECT_EQ(leaves(s.neighbour), c.heard && !c.kept && !repeated ? 1u : 0u);
    }
  }
}

TEST_F(InProgressTest, RegistrationsThatAreNotCommittedComeWithTheNextLeaveAll) {
  for (const bool asked : {false, true}) {
    SwitchOver s(kVlans, kRhythms[0]);
    s.runUntil(kRequest);
    s.neighbour.request(kPort, 77, JoinIn);
    switchAt(s, kSent);
    ASSERT_TRUE(has(s.active, 77));
    EXPECT_EQ(s.standby.attribute(kPort, 1, 77), "none");
    if (asked) s.leaveAll();
    s.runUntil(asked ? kSent + 3 * kDelay : kSent + kPeriod + 0.1);
    EXPECT_TRUE(has(s.standby, 77));
    EXPECT_EQ(s.standby.lib->take(), Texts{"+1:77 JoinMt port1"});
  }
}

// Of a withdrawal that was not sent, and of a registration whose leave timer ran, the other side
// hears nothing more; a LeaveAll and the leave time end both.
TEST_F(InProgressTest, WithdrawalsEndWithTheNextLeaveAll) {
  for (const double cut : {kOpen, kSent, kCommitted}) {
    SCOPED_TRACE(cut);
    SwitchOver s(kVlans, kRhythms[0]);
    s.runUntil(kRequest);
    s.active.request(kPort, 500, Lv);
    s.neighbour.request(kPort, 4094, Lv);
    switchAt(s, cut);
    const double latest = cut + kPeriod + kLeave + 0.2;
    s.runUntil(latest);
    EXPECT_FALSE(has(s.neighbour, 500));
    EXPECT_EQ(s.neighbour.attribute(kPort, 1, 500), "none");
    s.runUntil(latest + kPeriod);
    EXPECT_EQ(s.standby.attribute(kPort, 1, 4094), "none");
    EXPECT_EQ(s.standby.attribute(kPort, 1, 500), "none");
    EXPECT_EQ(s.neighbour.attribute(kPort, 1, 4094), "none");
    EXPECT_LE(leaves(s.standby), 1u);
    EXPECT_EQ(leaves(s.neighbour), 1u);
  }
}

}  // namespace
}  // namespace EngineTest
