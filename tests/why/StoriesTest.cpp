// Twenty incidents and what the switch says of them: the cause by its name, and what it was not.

#include <gmock/gmock.h>

#include "tests/why/Incident.h"

namespace WhyTest {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using PortRole = Stp::MstiPortStatus::Role;

Cli::Action limit(std::uint64_t vlans) {
  return {{}, Cli::ConfigAction{"vlanLimit", std::nullopt, Value(vlans)}};
}

Cli::Action registrationIs(unsigned on, std::uint16_t vlan, Registration is) {
  return {{}, Cli::RegistrationAction{port(on).name(), {{vlan}}, is}};
}

// --- VLANs ---------------------------------------------------------------------------------------

TEST(WhyStories, ItsOwnNeighbourWithdrewTheVlan) {
  Incident incident;
  incident.ports(2).vlan(1, 2, 30, New, 7).vlan(3, 2, 30, Lv, 7).until(5);
  const Answer answer = incident.registration(2, 30);
  EXPECT_EQ(answer.cause, "withdrawn-by-neighbour") << textOf(answer);
  EXPECT_EQ(answer.state, "VLAN 30 is not registered on port2.");
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("Lv received"), HasSubstr("#2 02:00:00:00:0a:07"),
                    Not(HasSubstr("LeaveAll received")), Not(HasSubstr("flushed"))));
}

// The answer to a LeaveAll is lost: the neighbour believes that it still declares the VLAN.
TEST(WhyStories, ItAgedOutAfterAnotherStationsLeaveAll) {
  Incident incident;
  incident.ports(1).vlan(1, 1, 30, New, 1).leaveAll(4, 1, 9).until(6);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "aged-out-after-received-leave-all") << textOf(answer);
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("LeaveAll received"), HasSubstr("#2 02:00:00:00:0a:09"),
                    Not(HasSubstr("withdrawn by the neighbour"))));
  // What it was not: a VLAN that was declared again after the same LeaveAll is there.
  Incident answered;
  answered.ports(1).vlan(1, 1, 30, New).leaveAll(4, 1, 9).vlan(4.3, 1, 30, JoinIn).until(6);
  const Answer stays = answered.registration(1, 30);
  EXPECT_EQ(stays.cause, "joined");
  EXPECT_THAT(textOf(stays), AllOf(HasSubstr("declared again: JoinIn received #3"),
                                   HasSubstr("LeaveAll received"), HasSubstr("New received #1")));
}

TEST(WhyStories, ItAgedOutAfterOurOwnLeaveAll) {
  Incident incident;
  incident.ports(1).vlan(1, 1, 30, New).until(12);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "aged-out-after-own-leave-all") << textOf(answer);
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("our own LeaveAll was due"), Not(HasSubstr("LeaveAll received"))));
}

TEST(WhyStories, ItIsAboutToLeaveAndWhen) {
  Incident incident;
  incident.ports(1).vlan(1, 1, 30, New).leaveAll(12, 1, 2).until(12.3);
  incident.vlan(11, 1, 30, JoinIn);
  std::ranges::sort(incident.inputs.actions, {}, &Cli::Action::at);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "leaving-after-received-leave-all") << textOf(answer);
  ASSERT_FALSE(answer.next.empty());
  EXPECT_EQ(answer.next[0].time, Seconds(12.6));
  EXPECT_EQ(answer.next[0].text, "leaves unless a Join comes");
}

TEST(WhyStories, TheVlanWasForbiddenBeforeItWasDeclared) {
  Incident incident;
  incident.bridge().ports(2).at(1, registrationIs(2, 30, Registration::forbidden));
  incident.vlan(2, 2, 30, New).until(4);
  const Answer answer = incident.registration(2, 30);
  EXPECT_EQ(answer.cause, "forbidden") << textOf(answer);
  EXPECT_THAT(textOf(answer), AllOf(HasSubstr("forbidden by line 1 of the scenario"),
                                    Not(HasSubstr("withdrawn by the neighbour"))));
}

TEST(WhyStories, TheVlanWasForbiddenWhileItWasRegistered) {
  Incident incident;
  incident.bridge().ports(2).vlan(1, 2, 30, New);
  incident.at(2, registrationIs(2, 30, Registration::forbidden)).until(4);
  const Answer answer = incident.registration(2, 30);
  EXPECT_EQ(answer.cause, "forbidden") << textOf(answer);
  EXPECT_THAT(textOf(answer), HasSubstr("forbidden by line 2 of the scenario"));
}

TEST(WhyStories, TheSpanningTreeFlushedIt) {
  Incident incident;
  incident.ports(1).role(0.5, 1, PortRole::designated).vlan(1, 1, 30, New);
  incident.role(3, 1, PortRole::alternate).until(4);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "flushed") << textOf(answer);
  EXPECT_THAT(textOf(answer), AllOf(HasSubstr("role became alternate"), HasSubstr("3.000000"),
                                    Not(HasSubstr("leave time was over"))));
}

TEST(WhyStories, NobodyDeclaredItAgainWhenThePortBeganToForward) {
  Incident incident;
  incident.ports(1).role(0.5, 1, PortRole::alternate).vlan(1, 1, 30, New);
  incident.role(3, 1, PortRole::designated).until(5);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "aged-out-after-role-change") << textOf(answer);
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("role became designated"), Not(HasSubstr("flushed"))));
}

// The review that would publish it finds the attribute log full.
TEST(WhyStories, ItWasNeverCommitted) {
  Incident incident;
  incident.ports(1).at(0.5, {{}, Cli::ClogAction{1000000}}).vlan(1, 1, 30, New).until(3.5);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "not-committed") << textOf(answer);
  EXPECT_EQ(answer.state, "VLAN 30 is registered on port1, but not yet published.");
  EXPECT_THAT(textOf(answer), HasSubstr("attribute log has room"));
}

TEST(WhyStories, ThePortHoldsAsManyVlansAsItMay) {
  Incident incident;
  incident.ports(1).at(0.5, limit(1)).vlan(1, 1, 10, New).vlan(2, 1, 30, New).until(3);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "refused-by-limit") << textOf(answer);
  EXPECT_THAT(textOf(answer), HasSubstr("#3"));
  EXPECT_EQ(incident.registration(1, 10).cause, "joined");
}

// Two vectors; the first says that it has more values than the frame has octets.
TEST(WhyStories, AMalformedPduDroppedTheRest) {
  const Octets cut = frame(kMvrp, Octets{0, 1, 2, 0x0f, 0xff} + vlan(10) + Octets{0, 0, 0, 1});
  Incident incident;
  incident.ports(1).hears(1, 1, cut, 3).until(2);
  const Answer never = incident.registration(1, 30);
  EXPECT_EQ(never.cause, "malformed") << textOf(never);
  EXPECT_THAT(textOf(never), HasSubstr("#1 02:00:00:00:0a:03"));

  // The same as the answer to a LeaveAll: what the answer was to keep ages out.
  Incident aged;
  aged.ports(1).vlan(1, 1, 30, New).leaveAll(4, 1).hears(4.2, 1, cut, 3).until(6);
  const Answer answer = aged.registration(1, 30);
  EXPECT_EQ(answer.cause, "malformed") << textOf(answer);
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("#3 02:00:00:00:0a:03"), HasSubstr("LeaveAll received")));
}

TEST(WhyStories, ThePortWentDown) {
  Incident incident;
  incident.bridge().ports(2).vlan(1, 1, 30, New);
  incident.at(2, {{}, Cli::EnableAction{"port1", false}}).until(3);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "port-closed") << textOf(answer);
  EXPECT_THAT(textOf(answer), Not(HasSubstr("leave time was over")));
}

TEST(WhyStories, NobodyEverDeclaredIt) {
  Incident incident;
  incident.ports(2).vlan(1, 1, 10, New).until(3);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "never-declared");
  EXPECT_FALSE(answer.known);
  EXPECT_THAT(textOf(answer), HasSubstr("port1: up, 1 frames received, the last at 1.000000"));
  const Why::Sources sources = incident.session().sources();
  const auto nowhere = whyVlan(sources, 30, IntfId());
  ASSERT_EQ(nowhere.size(), 1u);
  EXPECT_EQ(nowhere[0].cause, "nothing-known");
  EXPECT_THAT(textOf(nowhere[0]), AllOf(HasSubstr("port1: up"), HasSubstr("port2: up, 0 frames")));
}

// A restart: what the earlier life had registered stands, and has no story here.
TEST(WhyStories, ItIsThereFromBeforeTheRestart) {
  Incident incident;
  incident.ports(1).options.standby = true;
  incident.inputs.status = {{"port1", 1, 30, State::vo, Registrar::in, {0, 30}}};
  incident.at(1, {{}, Cli::ActivateAction{}}).until(2);
  const Answer answer = incident.registration(1, 30);
  EXPECT_EQ(answer.cause, "before-the-account") << textOf(answer);
  EXPECT_TRUE(answer.because.empty());
}

TEST(WhyStories, ItIsDeclaredSinceSomebodyAskedForIt) {
  Incident incident;
  incident.bridge().ports(2);
  incident.at(1, {{}, Cli::DeclareAction{{30}, "port2", true}}).until(2);
  const Answer answer = incident.declaration(2, 30);
  EXPECT_EQ(answer.cause, "requested") << textOf(answer);
  EXPECT_THAT(textOf(answer), HasSubstr("declared by line 1 of the scenario"));

  Incident withdrawn;
  withdrawn.bridge().ports(2);
  withdrawn.at(1, {{}, Cli::DeclareAction{{30}, "port2", true}});
  withdrawn.at(2, {{}, Cli::DeclareAction{{30}, "port2", false}}).until(3);
  const Answer gone = withdrawn.declaration(2, 30);
  EXPECT_EQ(gone.state, "VLAN 30 is not declared on port2.");
  EXPECT_THAT(textOf(gone), HasSubstr("withdrawn by line 2 of the scenario"));
}

// Who withdrew it? The neighbour of another port, through us.
TEST(WhyStories, ItIsWithdrawnSinceThePortItCameFromLostIt) {
  Incident incident;
  incident.bridge().ports(3).vlan(1, 1, 30, New, 5).vlan(3, 1, 30, Lv, 5).until(5);
  const Answer answer = incident.declaration(2, 30);
  EXPECT_EQ(answer.cause, "passed-on") << textOf(answer);
  EXPECT_EQ(answer.state, "VLAN 30 is not declared on port2.");
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("port1 withdrawn by the neighbour: Lv received"),
                    HasSubstr("#2 02:00:00:00:0a:05"), Not(HasSubstr("by the application"))));
}

// --- Streams -------------------------------------------------------------------------------------

class WhyStreams : public testing::Test {
 protected:
  // A talker's port and two listeners' ports of 100 Mb/s, all in the domain.
  WhyStreams() : incident(MrpApplication::msrp) {
    incident.bridge().ports(3);
    for (unsigned n = 1; n <= 3; ++n) incident.domain(0.1, n);
  }
  Incident incident;
};

TEST_F(WhyStreams, TheSecondStreamDoesNotFit) {
  incident.rate(0.2, 2, 100'000'000).talker(1, 1, 1, 800).listener(2, 2, 1);
  incident.talker(3, 1, 2, 1500).listener(4, 2, 2).until(5);
  const Answer answer = incident.stream(2, 2);
  EXPECT_EQ(answer.cause, "code-1") << textOf(answer);
  EXPECT_THAT(
      textOf(answer),
      AllOf(HasSubstr("bandwidth code needs 98.752 Mb/s, 21.048 Mb/s available; 53.952 Mb/s "
                      "of 75 Mb/s in use"),
            HasSubstr("remedy: withdraw other streams on port2"), HasSubstr("#7")));
  EXPECT_EQ(incident.stream(2, 1).cause, "reserved");
  EXPECT_EQ(incident.stream(3, 2).cause, "advertised");
}

TEST_F(WhyStreams, TwoTalkersClaimOneStream) {
  incident.talker(1, 1, 1).talker(2, 3, 1).until(3);
  const Answer answer = incident.stream(3, 1);
  EXPECT_EQ(answer.cause, "not-declared") << textOf(answer);
  EXPECT_THAT(answer.state,
              AllOf(HasSubstr("a second talker of it is registered on port3"), HasSubstr("port1")));
  EXPECT_EQ(incident.stream(2, 1).cause, "advertised");
}

TEST_F(WhyStreams, AnEmergencyInterruptedIt) {
  incident.rate(0.2, 2, 100'000'000).talker(1, 1, 1, 800).listener(2, 2, 1);
  incident.talker(3, 1, 9, 400, 0).listener(4, 2, 9).until(5);
  const Answer answer = incident.stream(2, 1);
  EXPECT_EQ(answer.cause, "code-6") << textOf(answer);
  EXPECT_THAT(textOf(answer), AllOf(HasSubstr("pre-empted"), HasSubstr("#8"),
                                    HasSubstr("the listener of 00:00:00:00:00:00:0009")));
}

TEST_F(WhyStreams, TheNeighbourSaysAnotherPriority) {
  incident.domain(0.3, 2, 4).talker(1, 1, 1).until(2);
  const Answer answer = incident.stream(2, 1);
  EXPECT_EQ(answer.cause, "code-19") << textOf(answer);
  EXPECT_EQ(answer.remedy, "declare class A priority 3 on the neighbour of port2: it says 4");
  const Answer domain = incident.domainOf(2, 6);
  EXPECT_EQ(domain.cause, "priority-mismatch");
  EXPECT_THAT(textOf(domain), HasSubstr("#4 02:00:00:00:0a:02"));
  EXPECT_EQ(incident.domainOf(3, 6).cause, "inside");
}

TEST_F(WhyStreams, ThePortIsABoundary) {
  incident.ports(0).inputs.ports.emplace_back("port4");
  incident.talker(1, 1, 1).until(2);
  EXPECT_EQ(incident.stream(4, 1).cause, "code-8");
  EXPECT_EQ(incident.stream(4, 1).remedy,
            "let the neighbour of port4 run MSRP and declare class A: it declares none");
  EXPECT_EQ(incident.domainOf(4, 6).cause, "no-domain");
}

TEST_F(WhyStreams, TheTalkerChangedWhileItWasRegistered) {
  incident.talker(1, 1, 1, 80).talker(2, 1, 1, 160).until(3);
  const Answer answer = incident.stream(2, 1);
  EXPECT_EQ(answer.cause, "code-16") << textOf(answer);
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("changed at 2 s"), HasSubstr("#5"), HasSubstr("advertise it anew")));
}

TEST_F(WhyStreams, AChangedTalkerIsAdvertisedAgainWhenItsTimeIsOver) {
  incident.talker(1, 1, 1, 80).talker(2, 1, 1, 160);
  // All go on answering LeaveAlls.
  for (double at = 2.5; at < 36; at += 0.5) {
    incident.talker(at, 1, 1, 160, 1, JoinIn).domain(at, 1).domain(at, 2);
  }
  const Answer answer = incident.until(36).stream(2, 1);
  EXPECT_EQ(answer.cause, "advertised") << textOf(answer);
  EXPECT_THAT(textOf(answer), AllOf(HasSubstr("the time for which a changed talker fails was over"),
                                    Not(HasSubstr("#"))));
  EXPECT_EQ(answer.ending, Accounts::Reader::Ending::firstCause);
}

TEST_F(WhyStreams, ItFailedUpstream) {
  incident.talkerFailed(1, 1, 1, 18).until(2);
  const Answer answer = incident.stream(2, 1);
  EXPECT_EQ(answer.cause, "upstream-code-18") << textOf(answer);
  EXPECT_EQ(answer.remedy, "ask bridge 80:00:02:00:00:00:0b:01, where it failed");
  EXPECT_EQ(answer.checks.size(), 1u);
}

TEST_F(WhyStreams, TheSpanningTreeBlocksThePort) {
  incident.talker(1, 1, 1).role(2, 3, PortRole::alternate).until(3);
  const Answer answer = incident.stream(3, 1);
  EXPECT_EQ(answer.cause, "not-declared") << textOf(answer);
  EXPECT_THAT(textOf(answer),
              AllOf(HasSubstr("does not forward VLAN 2"), HasSubstr("role became alternate")));
}

// --- Chains --------------------------------------------------------------------------------------

// What the ring no longer holds is said, not guessed.
TEST(WhyStories, AChainSaysWhereItEnds) {
  Incident incident;
  incident.ports(1).vlan(1, 1, 30, New).until(12);
  Cli::ReplayOptions few = incident.options;
  few.records = 4;
  Cli::ReplaySession session(incident.inputs, few, {});
  session.run();
  const auto answers = whyVlan(session.sources(), 30, port(1));
  ASSERT_FALSE(answers.empty());
  EXPECT_EQ(answers[0].ending, Accounts::Reader::Ending::overwritten) << textOf(answers[0]);
  EXPECT_THAT(textOf(answers[0]), Not(HasSubstr("New received")));
}

}  // namespace
}  // namespace WhyTest
