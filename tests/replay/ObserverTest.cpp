// What the observer is told over every stored replay agrees with what else is seen of the engine:
// frames, counters, the published database and the states of the records at the end.

#include "mrp/MrpSm/MrpObserver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "cli/replay/ReplaySession.h"
#include "tests/replay/Support.h"

namespace {

using namespace ReplayTest;
namespace fs = std::filesystem;
using Mrp::MrpAttribute;
using Mrp::MrpObserver;
using Platform::Seconds;

struct States {
  unsigned applicant = static_cast<unsigned>(Mrp::MrpApplicantState::vo);
  unsigned registrar = static_cast<unsigned>(Mrp::MrpRegistrarState::mt);
};

// Notes every fact as a line, and checks that each follows from those before it.
class Recorder final : public MrpObserver {
 public:
  explicit Recorder(const std::vector<Cli::AttributeState>& status) {
    for (const Cli::AttributeState& at : status) {
      const MrpAttribute attribute{Platform::IntfId(at.port), at.type, at.key};
      states[attribute] = {static_cast<unsigned>(at.applicant),
                           static_cast<unsigned>(at.registrar)};
      committedKeys.insert(attribute);
    }
  }

  bool wantsIdle() const override { return idle; }
  void frame(const Frame& frame) override {
    note() << "frame " << int(frame.direction) << " " << frame.intf << " " << frame.source << " "
           << frame.octets.size();
    if (frame.direction == Direction::sent) {
      sent.push_back({frame.intf.name(), {frame.octets.begin(), frame.octets.end()}});
    } else {
      ++received;
    }
    ASSERT_GE(frame.octets.size(), 14u);
    const Cli::Octets source(frame.octets.begin() + 6, frame.octets.begin() + 12);
    EXPECT_TRUE(std::equal(source.begin(), source.end(), frame.source.octets().begin()));
  }
  void event(const Event& event) override {
    note() << "event " << int(event.direction) << " " << event.leaveAll << " " << +event.event
           << " " << event.attribute;
    const unsigned most = event.direction == Direction::received ? 7 : 5;
    EXPECT_LE(event.event, event.leaveAll ? unsigned{Mrp::kLeaveAllEvent} : most);
    EXPECT_TRUE(event.direction == Direction::sent || received > 0);
  }
  void transition(const Transition& t) override {
    note() << "transition " << int(t.machine) << " " << +t.from << " " << +t.event << " " << +t.to
           << " " << t.attribute;
    States& now = states[t.attribute];
    const bool applicant = t.machine == Machine::applicant;
    unsigned& last = applicant ? now.applicant : now.registrar;
    // A record that is revived starts at rest.
    EXPECT_TRUE(t.from == last || t.from == (applicant ? States().applicant : States().registrar))
        << lines.back() << ": was " << last;
    last = t.to;
  }
  void discard(const Discard& discard) override {
    note() << "discard " << stringValue(discard.reason) << " " << discard.attribute;
    ++discards[discard.reason];
    if (discard.reason == Reason::joinDiscarded) {
      states[discard.attribute].registrar = States().registrar;
    }
  }
  void timer(const Timer& timer) override {
    note() << "timer " << int(timer.kind) << " " << int(timer.step) << " " << timer.attribute << " "
           << timer.due;
    const auto place = std::pair(timer.kind, timer.attribute);
    if (timer.step == TimerStep::armed) {
      armed[place] = timer.due;
    } else {
      EXPECT_EQ(armed.erase(place), 1u) << lines.back() << ": was not armed";
    }
  }
  void committed(const Commit& commit) override {
    note() << "commit " << commit.added << " " << commit.attribute;
    if (commit.added) {
      EXPECT_TRUE(committedKeys.insert(commit.attribute).second) << lines.back();
    } else {
      EXPECT_EQ(committedKeys.erase(commit.attribute), 1u) << lines.back();
      states.erase(commit.attribute);
    }
  }

  bool idle = true;
  std::vector<std::string> lines;
  std::vector<std::pair<std::string, Cli::Octets>> sent;
  std::uint64_t received = 0;
  std::map<MrpAttribute, States> states;
  std::map<Reason, std::uint64_t> discards;
  std::map<std::pair<TimerKind, MrpAttribute>, Seconds> armed;
  std::set<MrpAttribute> committedKeys;

 private:
  // A line that is written to until the next one begins.
  struct Line {
    explicit Line(std::vector<std::string>& to) : lines(to) {}
    ~Line() { lines.push_back(text.str()); }
    template <class T>
    Line& operator<<(const T& part) {
      text << part;
      return *this;
    }
    std::vector<std::string>& lines;
    std::ostringstream text;
  };
  Line note() { return Line(lines); }
};

// What else is seen of a run.
struct Seen final : Cli::Output {
  void transmitted(Seconds, const std::string& port, Cli::OctetSpan frame) override {
    sent.push_back({port, {frame.begin(), frame.end()}});
  }
  void finished(Seconds, const Cli::FinalState& state) override { final = state; }
  std::uint64_t counter(const std::string& name) const {
    for (const auto& [known, value] : final.counters) {
      if (known == name) return value;
    }
    return 0;
  }

  std::vector<std::pair<std::string, Cli::Octets>> sent;
  Cli::FinalState final;
};

// A replay: its input, and how it is run.
struct Run {
  std::string name;
  std::string input;
  std::string options;
};

std::vector<Run> runs() {
  std::vector<Run> found;
  const auto add = [&](const char* folder) {
    for (const auto& entry : fs::directory_iterator(source(folder))) {
      const fs::path& path = entry.path();
      if (path.extension() != ".jsonl" && path.extension() != ".pcap") continue;
      // Those of a bridge have an application of their own between.
      const std::string content = contentOf(path);
      if (content.find("\"declare\"") != std::string::npos) continue;
      if (content.find("\"bridge-port\"") != std::string::npos) continue;
      fs::path options = path;
      options.replace_extension(".options");
      found.push_back({path.stem(), path, fs::exists(options) ? contentOf(options) : ""});
    }
  };
  add("tests/replay/recorded");
  add("examples/scenarios");
  add("examples/captures");
  std::ranges::sort(found, {}, &Run::name);
  return found;
}

class ObserverTest : public testing::TestWithParam<Run> {
 protected:
  ObserverTest() {
    ::setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
    files_.inputs = {GetParam().input};
    std::istringstream words(GetParam().options);
    for (std::string word, value; words >> word;) {
      if (word == "--standby") {
        options_.standby = true;
        continue;
      }
      words >> value;
      if (word == "--until") options_.until = std::stod(value);
      if (word == "--leave-time") options_.leaveTime = std::stod(value);
      if (word == "--leave-all-time") options_.leaveAllTime = std::stod(value);
      if (word == "--application") {
        files_.application =
            value == "msrp" ? Mrp::MrpApplication::msrp : Mrp::MrpApplication::mvrp;
      }
    }
    fs::path status = GetParam().input;
    status.replace_extension(".status.json");
    if (fs::exists(status)) {
      files_.status = status;
      options_.standby = true;
    }
  }
  ~ObserverTest() override { ::unsetenv("DISABLE_LEAVE_ALL_RANDOMIZATION"); }

  Cli::InputFiles files_;
  Cli::ReplayOptions options_;
};
INSTANTIATE_TEST_SUITE_P(Replay, ObserverTest, testing::ValuesIn(runs()), [](const auto& run) {
  std::string text = run.param.name;
  std::ranges::replace(text, '-', '_');
  return text;
});

TEST_P(ObserverTest, IsToldWhatHappens) {
  const Cli::Inputs inputs = Cli::readInputs(files_);
  std::vector<std::string> first;
  for (int run = 0; run < 2; ++run) {
    Recorder recorder(inputs.status);
    Seen seen;
    Cli::Output* const outputs[] = {&seen};
    options_.observer = &recorder;
    Cli::ReplaySession session(inputs, options_, outputs);
    session.run();

    EXPECT_FALSE(recorder.lines.empty());
    if (run > 0) {
      EXPECT_TRUE(recorder.lines == first) << "two runs differ";
    }
    first = recorder.lines;

    EXPECT_TRUE(recorder.sent == seen.sent) << recorder.sent.size() << " of " << seen.sent.size();
    EXPECT_EQ(recorder.received, seen.counter("numOfPktsProcessed"));
    using Reason = MrpObserver::Reason;
    const std::pair<Reason, const char*> counted[] = {
        {Reason::destination, "numOfIncorrectDmac"},
        {Reason::etherType, "numOfIncorrectEtype"},
        {Reason::version, "numOfIncorrectPduVersion"},
        {Reason::malformed, "numOfMalformedPkts"},
        {Reason::unknownApplication, "numOfUnknownApplication"},
        {Reason::unknownAttributeType, "numOfUnknownAttributeType"}};
    for (const auto& [reason, name] : counted) {
      EXPECT_EQ(recorder.discards[reason], seen.counter(name)) << name;
    }
    EXPECT_EQ(recorder.discards[Reason::attributeLimit], seen.final.refusedEvents);

    std::set<MrpAttribute> published;
    for (const auto& at : Cli::attributesOf(session.database(), Cli::Records::committed)) {
      published.insert({Platform::IntfId(at.port), at.type, at.key});
    }
    EXPECT_TRUE(recorder.committedKeys == published);
    for (const Cli::AttributeState& at : seen.final.attributes) {
      const MrpAttribute attribute{Platform::IntfId(at.port), at.type, at.key};
      const States states{static_cast<unsigned>(at.applicant), static_cast<unsigned>(at.registrar)};
      const States& told = recorder.states[attribute];
      EXPECT_EQ(told.applicant, states.applicant) << attribute;
      // No event has reached the Registrar of a revived record yet.
      EXPECT_TRUE(told.registrar == states.registrar || states.registrar == States().registrar)
          << attribute;
    }
  }
}

// Whether a fact is a transition that moved nothing, and sent nothing nor started a leave timer.
bool isIdle(const std::string& fact, const std::string& before) {
  std::istringstream words(fact);
  std::string kind, machine, from, event, to;
  words >> kind >> machine >> from >> event >> to;
  const bool acted = before.starts_with("event 1 ") || before.starts_with("timer 0 0 ") ||
                     before.starts_with("timer 1 0 ");
  return kind == "transition" && from == to && !acted;
}

TEST_P(ObserverTest, IsSparedWhatIsIdle) {
  const Cli::Inputs inputs = Cli::readInputs(files_);
  std::vector<std::string> told[2];
  for (const bool idle : {false, true}) {
    Recorder recorder(inputs.status);
    recorder.idle = idle;
    Seen seen;
    Cli::Output* const outputs[] = {&seen};
    options_.observer = &recorder;
    Cli::ReplaySession(inputs, options_, outputs).run();
    told[idle] = recorder.lines;
  }
  // What stays in LV may have started its timer anew; what is sent may be discarded, or go at once.
  std::string before;
  for (const std::string& fact : told[false]) {
    const bool acted = before.starts_with("discard ") || before.starts_with("frame 1 ");
    EXPECT_TRUE(acted || fact.starts_with("transition 1 1 ") || !isIdle(fact, before))
        << fact << " behind " << before;
    before = fact;
  }
  auto spared = told[false].begin();
  for (const std::string& fact : told[true]) {
    if (spared != told[false].end() && *spared == fact) {
      ++spared;
    } else {
      ASSERT_TRUE(isIdle(fact, before)) << fact << " behind " << before;
    }
    before = fact;
  }
  EXPECT_EQ(spared, told[false].end());
}

}  // namespace
