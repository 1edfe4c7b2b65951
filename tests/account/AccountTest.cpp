// The account: what a peer or a random caller does to it, and that every cause it names is one.

#include "agent/account/Account.h"

#include <gmock/gmock.h>

#include <deque>
#include <filesystem>
#include <random>

#include "agent/account/FrameRing.h"
#include "agent/account/Reader.h"
#include "cli/replay/ReplaySession.h"
#include "tests/replay/Support.h"
#include "tests/why/Incident.h"

namespace AccountTest {
namespace {

using namespace Mrp;
using namespace Mrp::Accounts;
using Platform::IntfId;
using Platform::Seconds;
using Platform::Embedded::VirtualClock;

// Facts of every kind in no order that an engine keeps to.
class RandomFacts {
 public:
  explicit RandomFacts(unsigned seed) : random_(seed) {}

  void tell(Account& account) {
    const auto octet = [&](unsigned most) { return static_cast<std::uint8_t>(number(most)); };
    const MrpAttribute attribute{IntfId("port" + std::to_string(number(3))), octet(5), number(40)};
    using Observer = MrpObserver;
    switch (number(11)) {
      case 0:
        account.frame({Observer::Direction{octet(1)}, attribute.intfId,
                       Platform::EthAddr::fromNumber(number(1000)), octets_});
        return;
      case 1:
        account.event({Observer::Direction{octet(1)}, number(1) == 0, octet(7), attribute});
        return;
      case 2:
      case 3:
      case 4:
        account.transition(
            {Observer::Machine{octet(1)}, octet(20), octet(20), octet(20), attribute});
        return;
      case 5:
        account.discard({Observer::Reason{octet(15)}, attribute});
        return;
      case 6:
      case 7:
        account.timer({Observer::TimerKind{octet(2)}, Observer::TimerStep{octet(2)}, attribute,
                       Seconds(static_cast<double>(number(100)))});
        return;
      case 8:
        account.committed({number(1) == 0, attribute});
        return;
      case 9: {
        const Account::Scope because(account, account.request(Verb{octet(7)}, attribute, {}));
        account.contribution(attribute, number(1) == 0);
        account.propagation(attribute, number(1) == 0);
        return;
      }
      case 10: {
        const Account::Scope because(account, number(200));
        account.decision({attribute, octet(2), octet(2), octet(30), number(9), number(9), 1});
        account.reservation(attribute.intfId, attribute.attributeKey, number(1) == 0);
        account.listener(attribute.intfId, attribute.attributeKey, octet(3));
        return;
      }
      default:
        account.role(attribute.intfId, octet(4));
        account.portChanged(attribute.intfId, PortChange{octet(5)});
    }
  }
  std::uint64_t number(std::uint64_t most) {
    return std::uniform_int_distribution<std::uint64_t>(0, most)(random_);
  }

 private:
  std::mt19937 random_;
  std::vector<std::uint8_t> octets_ = std::vector<std::uint8_t>(60);
};

// A ring of an odd size that is overwritten many times over, against a scan of all of it.
TEST(Account, KeepsToItsSizeAndFindsWhatItHolds) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE(seed);
    const auto clock = Platform::makePtr<VirtualClock>();
    const std::size_t capacity = seed == 1 ? 1 : 97 * seed;
    Account account(*clock, capacity);
    RandomFacts facts(seed);
    for (int i = 0; i < 5000; ++i) {
      facts.tell(account);
      ASSERT_LE(account.size(), capacity);
      if (i % 250 != 0) continue;
      const Reader reader(account);
      std::map<MrpAttribute, Number> newest;
      for (Number n = account.first(); n <= account.last(); ++n) {
        const Record& r = *account.record(n);
        ASSERT_EQ(r.number, n);
        ASSERT_LT(r.cause(), n);
        if (r.kind == Kind::registrar) newest[{account.port(r), r.type, r.key}] = n;
        const Reader::Chain chain = reader.causes(n);
        ASSERT_LE(chain.records.size(), account.size());
        if (chain.ending == Reader::Ending::overwritten) {
          EXPECT_LT(chain.records.back().cause(), account.first());
        }
      }
      for (const auto& [attribute, number] : newest) {
        const Record* found = account.newest(attribute, account.last() + 1, [](const Record& r) {
          return r.kind == Kind::registrar;
        });
        ASSERT_TRUE(found);
        EXPECT_EQ(found->number, number);
      }
      EXPECT_EQ(account.record(account.first() - 1), nullptr);
      EXPECT_EQ(account.record(account.last() + 1), nullptr);
    }
  }
}

TEST(Account, OfNoRecordsRecordsNothing) {
  const auto clock = Platform::makePtr<VirtualClock>();
  Account account(*clock, 0);
  RandomFacts facts(1);
  for (int i = 0; i < 200; ++i) facts.tell(account);
  EXPECT_EQ(account.size(), 0u);
  EXPECT_EQ(account.last(), 0u);
  EXPECT_EQ(account.record(1), nullptr);
  EXPECT_TRUE(Reader(account).causes(1).records.empty());
}

// In every stored replay what a machine did has a cause, and one of the kind that its event says.
TEST(Account, NamesTheCauseOfEveryTransitionOfARealRun) {
  namespace fs = std::filesystem;
  ::setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
  std::size_t transitions = 0;
  for (const char* folder : {"tests/replay/recorded", "examples/scenarios", "examples/captures"}) {
    for (const auto& entry : fs::directory_iterator(ReplayTest::source(folder))) {
      const fs::path& path = entry.path();
      if (path.extension() != ".jsonl" && path.extension() != ".pcap") continue;
      const std::string content = ReplayTest::contentOf(path);
      Cli::InputFiles files;
      files.inputs = {path};
      files.bridge = content.find("\"declare\"") != std::string::npos ||
                     content.find("\"bridge-port\"") != std::string::npos;
      files.application = Mrp::MrpApplication::msrp;
      try {
        Cli::readInputs(files);
      } catch (const std::exception&) {
        files.application = Mrp::MrpApplication::mvrp;
      }
      Cli::InputFiles tries = files;
      tries.application.reset();
      try {
        files.application = Cli::readInputs(tries).application;
      } catch (const std::exception&) {
        // No frame names it.
      }
      SCOPED_TRACE(path);
      const Cli::Inputs inputs = Cli::readInputs(files);
      Cli::ReplayOptions options;
      options.bridge = files.bridge;
      options.records = 1u << 20;
      Cli::ReplaySession session(inputs, options, {});
      session.run();
      const Account& account = session.account();
      Reader(account).walk([&](const Record& r) {
        if (r.kind != Kind::registrar && r.kind != Kind::applicant) return;
        ++transitions;
        const Record* cause = account.record(r.cause());
        ASSERT_TRUE(cause) << r.number << " " << stringValue(r.kind) << " " << +r.event << " at "
                           << r.at();
        if (r.kind != Kind::registrar) return;
        switch (static_cast<MrpRegistrarEvent>(r.event)) {
          case MrpRegistrarEvent::leaveTimer:
            EXPECT_EQ(cause->kind, Kind::timerFired);
            EXPECT_TRUE(account.record(cause->cause())) << "a timer that nobody started";
            break;
          case MrpRegistrarEvent::regLvAll_:
            EXPECT_EQ(cause->kind, Kind::leaveAllReceived);
            break;
          case MrpRegistrarEvent::txLvAll:
            EXPECT_EQ(cause->kind, Kind::timerFired);
            EXPECT_EQ(account.port(*cause), account.port(r));
            break;
          case MrpRegistrarEvent::flush:
          case MrpRegistrarEvent::reDeclare:
            EXPECT_EQ(cause->kind, Kind::role);
            EXPECT_NE(cause->event, kUntoldRole);
            break;
          default:
            EXPECT_EQ(cause->kind, Kind::frameReceived);
            EXPECT_EQ(account.port(*cause), account.port(r));
            EXPECT_EQ(cause->time, r.time);
        }
      });
    }
  }
  ::unsetenv("DISABLE_LEAVE_ALL_RANDOMIZATION");
  EXPECT_GT(transitions, 1000u);
}

// A frame that a bridge sends was caused by the frame that it passes on, and that one's effects
// name it.
TEST(Account, FollowsAFrameToWhatItCaused) {
  WhyTest::Incident incident;
  incident.bridge().ports(2).vlan(1, 1, 30, EngineTest::New).until(3);
  const Account& account = incident.session().account();
  const Reader reader(account);
  const Record* heard = nullptr;
  reader.walk([&](const Record& r) {
    if (r.kind == Kind::frameReceived) heard = &r;
  });
  ASSERT_TRUE(heard);
  bool passedOn = false;
  for (const Record& r : reader.effects(heard->number)) {
    passedOn |= r.kind == Kind::frameSent && account.port(r) == WhyTest::port(2);
    EXPECT_EQ(reader.causes(r.number).records.back().number, heard->number);
  }
  EXPECT_TRUE(passedOn);
}

// --- Frames --------------------------------------------------------------------------------------

TEST(FrameRing, HoldsTheLastFramesThatFit) {
  constexpr std::size_t kHeader = 24;  // that each frame has in the ring
  std::mt19937 random(7);
  for (const std::size_t octets : {0u, 40u, 500u, 4096u}) {
    FrameRing ring(octets);
    std::deque<std::vector<std::uint8_t>> model;
    for (unsigned i = 1; i <= 3000; ++i) {
      std::vector<std::uint8_t> frame(random() % 300, static_cast<std::uint8_t>(i));
      ring.add(Seconds(i), IntfId("port1"), i % 2 == 0, MrpApplication::mvrp, frame);
      const bool kept = ring.last() != 0 && ring.frames() > 0;
      if (octets == 0) {
        ASSERT_FALSE(kept);
        continue;
      }
      if (frame.size() + kHeader <= octets) model.push_back(std::move(frame));
      while (model.size() > ring.frames()) model.pop_front();
      ASSERT_EQ(model.size(), ring.frames());
      std::size_t at = 0;
      std::size_t held = 0;
      ring.walk(0, [&](const FrameRing::Frame& f) {
        EXPECT_TRUE(std::ranges::equal(f.octets, model[at++]));
        held += f.octets.size();
        return true;
      });
      ASSERT_EQ(at, model.size());
      ASSERT_LE(held, octets);
    }
    // Not half empty either: at most one long frame and a header a frame are lost.
    if (octets == 4096) {
      std::size_t held = 0;
      ring.walk(0, [&](const FrameRing::Frame& f) {
        held += f.octets.size() + kHeader;
        return true;
      });
      EXPECT_GT(held, octets - 2 * 340);
    }
  }
}

}  // namespace
}  // namespace AccountTest
