#include "platform/linux/Loop.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <functional>
#include <stdexcept>

namespace {

using namespace Platform;
using Linux::Loop;

struct Call {
  void handle() { then(); }
  std::function<void()> then;
};

class LoopTest : public testing::Test {
 protected:
  Ptr<Loop> loop = makePtr<Loop>();
};

TEST_F(LoopTest, ServesDescriptorsSignalsAlarmsAndTheEndOfATurn) {
  std::string log;
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  Linux::EndOfTurn end(*loop);
  Call atEnd{[&] { log += 'e'; }};
  end.bind<&Call::handle>(&atEnd);
  Linux::Readable readable(*loop);
  Call read{[&] {
    char octet = 0;
    EXPECT_EQ(::read(pipe[0], &octet, 1), 1);
    log += octet;
    end.ask();
    end.ask();
    ::kill(::getpid(), SIGUSR1);
  }};
  readable.bind<&Call::handle>(&read);
  readable.watch(pipe[0]);
  Linux::SignalEvent signal(*loop, SIGUSR1);
  Alarm alarm(*loop->clock());
  Call stop{[&] { loop->stop(); }};
  alarm.bind<&Call::handle>(&stop);
  Call signalled{[&] {
    log += 's';
    alarm.dueIs(loop->clock()->now() + Seconds(0.01));
  }};
  signal.bind<&Call::handle>(&signalled);
  ASSERT_EQ(::write(pipe[1], "r", 1), 1);
  loop->run();
  EXPECT_TRUE(log == "res" || log == "rse") << log;
  readable.unwatch();
  ::close(pipe[0]);
  ::close(pipe[1]);
}

TEST_F(LoopTest, ExceptionsComeOutOfTheRunAndTheLoopGoesOn) {
  Alarm first(*loop->clock()), second(*loop->clock());
  Call bad{[] { throw std::runtime_error("refused"); }};
  bool rung = false;
  Call good{[&] {
    rung = true;
    loop->stop();
  }};
  first.bind<&Call::handle>(&bad);
  second.bind<&Call::handle>(&good);
  first.dueIs(0);
  second.dueIs(0);
  EXPECT_THROW(loop->run(), std::runtime_error);
  EXPECT_FALSE(rung);
  loop->run();
  EXPECT_TRUE(rung);
}

TEST_F(LoopTest, TimeStandsStillWhileAnEventIsServed) {
  const auto tick = [&] {
    const auto began = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() == began) {
    }
    return loop->clock()->now();
  };
  Linux::EndOfTurn end(*loop);
  Seconds served = loop->clock()->now();
  EXPECT_LT(served, tick());
  Call serve{[&] {
    served = loop->clock()->now();
    EXPECT_EQ(served, tick());
    loop->timePasses();
    EXPECT_LT(served, tick());
    loop->stop();
  }};
  end.bind<&Call::handle>(&serve);
  end.ask();
  loop->run();
  EXPECT_LT(served, tick());
}

TEST_F(LoopTest, AlarmsThatAreAlwaysDueLetOthersHaveTheirTurn) {
  Alarm alarm(*loop->clock());
  Call again{[&] { alarm.dueIs(loop->clock()->now()); }};
  alarm.bind<&Call::handle>(&again);
  alarm.dueIs(0);
  Linux::SignalEvent signal(*loop, SIGUSR1);
  Call stop{[&] { loop->stop(); }};
  signal.bind<&Call::handle>(&stop);
  ::kill(::getpid(), SIGUSR1);
  loop->run();
  EXPECT_TRUE(alarm.armed());
}

TEST_F(LoopTest, EventsDestroyThemselvesAndOneAnother) {
  auto self = std::make_unique<Linux::EndOfTurn>(*loop);
  auto other = std::make_unique<Linux::EndOfTurn>(*loop);
  int calls = 0;
  Call destroy{[&] {
    ++calls;
    self.reset();
    other.reset();
  }};
  self->bind<&Call::handle>(&destroy);
  other->bind<&Call::handle>(&destroy);
  self->ask();
  other->ask();
  loop->turn(0.01);
  loop->turn(0.01);
  EXPECT_EQ(calls, 1);
}

TEST_F(LoopTest, AlarmsOutliveTheLoopUnserved) {
  const Ptr<Clock> clock = loop->clock();
  Alarm alarm(*clock);
  alarm.dueIs(0);
  loop = nullptr;
  alarm.dueIs(1);
  EXPECT_TRUE(alarm.armed());
}

}  // namespace
