#include "platform/reactor/Signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <utility>

namespace {

using Platform::Reactor;
using Platform::Signal;

// Writes its name to a log at each notification, then does what the test wants done in there.
struct Watcher {
  Watcher(Signal<>& signal, std::string& to, char as) : log(to), name(as) {
    reactor.watch<&Watcher::handle>(signal, this);
  }
  void handle() {
    log += name;
    if (inside) inside();
  }

  std::string& log;
  char name;
  std::function<void()> inside;
  Reactor<> reactor;
};

class SignalTest : public testing::Test {
 protected:
  std::unique_ptr<Watcher> watcher(char name) {
    return std::make_unique<Watcher>(*signal, log, name);
  }
  std::string notified() {
    log.clear();
    signal->notify();
    return log;
  }

  std::string log;
  std::unique_ptr<Signal<>> signal = std::make_unique<Signal<>>();
  std::unique_ptr<Watcher> a = watcher('a');
  std::unique_ptr<Watcher> b = watcher('b');
  std::unique_ptr<Watcher> c = watcher('c');
};

TEST_F(SignalTest, DestroyedDuringNotification) {
  b->inside = [this] { signal.reset(); };
  signal->notify();
  EXPECT_EQ(log, "ab");
  EXPECT_FALSE(a->reactor.watching() || c->reactor.watching());
}

TEST_F(SignalTest, NestedNotificationSurvivesRemovalAndDestruction) {
  int depth = 0;
  a->inside = [&] {
    if (depth++ == 0) signal->notify();
  };
  b->inside = [&] {
    if (depth == 2) {
      c.reset();
      signal.reset();
    }
  };
  signal->notify();
  EXPECT_EQ(log, "aab");
}

// Reactors that come, go and notify again inside notifications at random. Each notification calls
// those that watched when it began and still do, in the order in which they began to watch.
class SignalModel {
 public:
  explicit SignalModel(unsigned seed) : random_(seed) {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
      slots_[i].model = this, slots_[i].number = i;
      rewatch(i);
    }
  }
  void notify() {
    expected_.emplace_back(watching_);
    signal_.notify();
    for (const Watching& unserved : expected_.back()) EXPECT_FALSE(watches(unserved));
    expected_.pop_back();
  }

 private:
  using Watching = std::pair<std::size_t, int>;  // which reactor, since when
  struct Slot {
    void handle() { model->handle(number); }
    SignalModel* model = nullptr;
    std::size_t number = 0;
    Reactor<> reactor;
  };

  bool watches(const Watching& w) const {
    return std::ranges::find(watching_, w) != watching_.end();
  }
  void unwatch(std::size_t i) {
    std::erase_if(watching_, [i](const Watching& w) { return w.first == i; });
    slots_[i].reactor.unwatch();
  }
  void rewatch(std::size_t i) {
    unwatch(i);
    slots_[i].reactor.watch<&Slot::handle>(signal_, &slots_[i]);
    watching_.emplace_back(i, ++serial_);
  }
  void handle(std::size_t i) {
    std::deque<Watching>& expected = expected_.back();
    while (!expected.empty() && !watches(expected.front())) expected.pop_front();
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(expected.front().first, i);
    expected.pop_front();
    for (auto n = random_() % 4; n > 0; --n) {
      const std::size_t other = random_() % slots_.size();
      random_() % 2 ? unwatch(other) : rewatch(other);
    }
    if (expected_.size() < 3 && random_() % 4 == 0) notify();
  }

  std::mt19937 random_;
  Signal<> signal_;
  std::array<Slot, 6> slots_;
  std::deque<Watching> watching_;
  std::list<std::deque<Watching>> expected_;  // of each notification in progress
  int serial_ = 0;
};

TEST(SignalModelTest, CallsThoseThatWatchedAndStillDo) {
  for (unsigned seed = 1; seed <= 300 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    SignalModel model(seed);
    for (int i = 0; i < 20; ++i) model.notify();
  }
}

}  // namespace
