#include "platform/reactor/Signal.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

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

TEST_F(SignalTest, ReactorRemovesItself) {
  for (auto* self : {&a, &b, &c}) {
    (*self)->inside = [self] { (*self)->reactor.unwatch(); };
  }
  EXPECT_EQ(notified(), "abc");
  EXPECT_EQ(notified(), "");
  EXPECT_FALSE(signal->watched());
}

TEST_F(SignalTest, RemovedReactorsAreNotCalled) {
  a->inside = [this] { b.reset(); };
  EXPECT_EQ(notified(), "ac");
  a->inside = [this] { c.reset(); };
  EXPECT_EQ(notified(), "a");
}

TEST_F(SignalTest, RemovingAnEarlierReactorSkipsNone) {
  b->inside = [this] { a.reset(); };
  EXPECT_EQ(notified(), "abc");
  EXPECT_EQ(notified(), "bc");
}

TEST_F(SignalTest, LaterOnesGoInOneStroke) {
  a->inside = [this] {
    c.reset();
    b.reset();
    a->reactor.unwatch();
  };
  EXPECT_EQ(notified(), "a");
  EXPECT_EQ(notified(), "");
}

TEST_F(SignalTest, ReactorsAddedMeanwhileWait) {
  std::unique_ptr<Watcher> d;
  c->inside = [&] {
    if (!d) d = watcher('d');
  };
  EXPECT_EQ(notified(), "abc");
  EXPECT_EQ(notified(), "abcd");
}

TEST_F(SignalTest, RewatchingFromInsideDoesNotLoop) {
  b->inside = [this] { b->reactor.watch<&Watcher::handle>(*signal, b.get()); };
  EXPECT_EQ(notified(), "abc");
  EXPECT_EQ(notified(), "acb");
}

TEST_F(SignalTest, AddedBehindTheLastOneStillWaitsWhenThatIsGone) {
  std::unique_ptr<Watcher> d;
  a->inside = [&] {
    d = watcher('d');
    c.reset();
    b.reset();
    a->inside = nullptr;
  };
  EXPECT_EQ(notified(), "a");
  EXPECT_EQ(notified(), "ad");
}

TEST_F(SignalTest, DestroyedDuringNotification) {
  b->inside = [this] { signal.reset(); };
  signal->notify();
  EXPECT_EQ(log, "ab");
  EXPECT_FALSE(a->reactor.watching() || c->reactor.watching());
}

TEST_F(SignalTest, OuterNotificationSeesRemovalsAfterANestedOne) {
  a->inside = [&] {
    a->inside = nullptr;
    signal->notify();
    b->reactor.unwatch();
    log += ' ';
  };
  EXPECT_EQ(notified(), "aabc c");
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

}  // namespace
