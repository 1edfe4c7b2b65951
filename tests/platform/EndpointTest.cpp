#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/embedded/VirtualClock.h"
#include "platform/time/TimerWheel.h"
#include "tests/platform/Engine.h"

namespace {

using namespace PlatformTest;
using Embedded::EthDevPam;
using Embedded::Switch;
using Embedded::VirtualClock;
using Host::PamConfig;
using Marks = std::vector<std::uint8_t>;

class EndpointTest : public testing::Test {
 protected:
  Ptr<EthDevPam> opened(PamConfig config = {}) {
    return makePtr<EthDevPam>(sw->bus(), port, std::move(config));
  }

  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  std::unique_ptr<Switch> sw = std::make_unique<Switch>(clock);
  IntfId port = sw->portIs("port1", mac(1));
};

TEST_F(EndpointTest, CutsAtTheLimitAndAtTheFiltersAnswer) {
  auto pam = opened({.filter = {{FilterCode::kReturn, 0, 0, 40}}, .maxRxPktData = 30});
  EXPECT_TRUE(sw->receive(port, frame(0x88f5, 1)));
  EXPECT_EQ(pam->rxPkt()->size(), 30u);
  pam = opened({.filter = {{FilterCode::kReturn, 0, 0, 40}}, .maxRxPktData = 10000});
  sw->receive(port, frame(0x88f5, 1));
  EXPECT_EQ(pam->rxPkt()->size(), 40u);
  pam = opened({.filter = {{FilterCode::kReturn, 0, 0, 13}}});
  EXPECT_FALSE(sw->receive(port, frame(0x88f5, 1))) << "cut below a header";
}

TEST_F(EndpointTest, ShortFramesAndForeignProtocolsAreRefused) {
  const auto pam = opened();
  EXPECT_FALSE(sw->receive(port, frame(0, 1, 13)));
  EXPECT_TRUE(sw->receive(port, frame(0x22ea, 1, 14)));
  pam->close();
  const auto bound = opened({.protocol = 0x88f5});
  EXPECT_FALSE(sw->receive(port, frame(0x22ea, 1)));
  EXPECT_TRUE(sw->receive(port, frame(0x88f5, 1)));
  EXPECT_EQ(bound->counters().filtered, 1u);
}

TEST_F(EndpointTest, EachNotificationReadsTheOldestWaitingFrame) {
  const auto pam = opened();
  Reader reader(pam, clock);
  sw->receive(port, frame(0, 1), 0.5);
  sw->receive(port, frame(0, 2), 0.3);
  EXPECT_TRUE(pam->rxPktWaiting());
  sw->receive(port, frame(0, 3));
  EXPECT_EQ(reader.marks, Marks{1});
  EXPECT_EQ(pam->rxPkt()->octets().back(), 2) << "taken by hand";
  clock->run(1);
  EXPECT_EQ(reader.marks, (Marks{1, 3, 0}));
  EXPECT_EQ(reader.at, (std::vector<Seconds>{0, 0.3, 0.5}));
  EXPECT_FALSE(pam->rxPktWaiting());
}

TEST_F(EndpointTest, DelayedNotificationComesAfterTheWheelOfItsInstant) {
  const auto pam = opened();
  Reader reader(pam);
  struct Drain {
    void handleTimer() { waited = pam->rxPktWaiting(); }
    Ptr<Pam> pam;
    bool waited = false;
    MemberTimer timer;
  } drain;
  drain.pam = pam;
  drain.timer.bind<&Drain::handleTimer>(&drain);
  TimerWheel wheel(clock, {});
  wheel.hasNotificationActiveIs(true);
  sw->receive(port, frame(0, 1), 0.5);
  wheel.deadlineIs(drain.timer, 0.5);
  clock->run(0.5);
  EXPECT_TRUE(drain.waited);
  EXPECT_EQ(reader.marks, Marks{1});
}

TEST_F(EndpointTest, PendingNotificationKeepsNothingAlive) {
  auto pam = opened();
  sw->receive(port, frame(0, 1), 0.5);
  EXPECT_EQ(pam->refs(), 1u);
  pam = nullptr;
  EXPECT_EQ(sw->endpoint(port), nullptr);
  EXPECT_FALSE(clock->nextDue());
}

TEST_F(EndpointTest, FullQueueDropsAndCounts) {
  const auto pam = opened();
  for (std::size_t i = 0; i < EthDevPam::kMaxWaiting; ++i) sw->receive(port, frame(0, 1));
  EXPECT_FALSE(sw->receive(port, frame(0, 2)));
  EXPECT_EQ(pam->counters().dropped, 1u);
  pam->rxPkt();
  EXPECT_TRUE(sw->receive(port, frame(0, 3)));
}

class PamManagerTest : public testing::Test {
 protected:
  // Notes "+port" and "-port" as endpoints come and go.
  struct Watch {
    explicit Watch(Endpoints& of) : endpoints(of) {
      reactor.watch<&Watch::handlePam>(of.pams->onPam(), this);
    }
    void handlePam(IntfId intf) {
      log += (endpoints.pams->pam(intf) ? "+" : "-") + intf.name() + " ";
    }
    std::string take() { return std::exchange(log, ""); }

    Endpoints& endpoints;
    std::string log;
    Reactor<IntfId> reactor;
  };

  Ptr<VirtualClock> clock = makePtr<VirtualClock>();
  std::unique_ptr<Switch> sw = std::make_unique<Switch>(clock);
  Endpoints engine{*sw};
  Watch watch{engine};
};

TEST_F(PamManagerTest, OpenWhileDesiredPresentAndEnabled) {
  const IntfId p1("port1"), p2 = sw->portIs("port2", mac(2)), p10 = sw->portIs("port10", mac(10));
  for (const IntfId p : {p10, p1, p2}) engine.desired->intfDesiredIs(p, true);
  EXPECT_EQ(watch.take(), "");
  engine.manager->enabledIs(true);
  EXPECT_EQ(watch.take(), "+port2 +port10 ");
  sw->portIs("port1", mac(1));
  EXPECT_EQ(watch.take(), "+port1 ");
  sw->portDel(p2);
  EXPECT_EQ(watch.take(), "-port2 ");
  engine.desired->intfDesiredIs(p10, false);
  engine.desired->intfDesiredIs(p10, false);
  EXPECT_EQ(watch.take(), "-port10 ");
  engine.desired->intfDesiredIs(p10, true);
  engine.manager->enabledIs(false);
  EXPECT_EQ(watch.take(), "+port10 -port1 -port10 ");
  EXPECT_TRUE(engine.pams->pams().empty());
}

TEST_F(PamManagerTest, EveryEngineOfASwitchGetsItsOwnFramesAndOtherSwitchesNone) {
  const IntfId p = sw->portIs("port1", mac(1));
  Switch other(clock);
  other.portIs("port1", mac(2));
  Endpoints second(*sw), foreign(other);
  engine.manager->ethProtocolIs(0x88f5);
  second.manager->ethProtocolIs(0x22ea);
  for (Endpoints* e : {&engine, &second, &foreign}) {
    e->desired->intfDesiredIs(p, true);
    e->manager->enabledIs(true);
  }
  EXPECT_TRUE(sw->receive(p, frame(0x22ea, 1)));
  EXPECT_FALSE(engine.pams->pam(p)->rxPktWaiting());
  EXPECT_TRUE(second.pams->pam(p)->rxPktWaiting());
  EXPECT_FALSE(foreign.pams->pam(p)->rxPktWaiting());

  std::string sent;
  sw->onTransmit([&](IntfId, const Pkt& pkt) { sent += std::to_string(pkt.size()); });
  sw->onTransmit([&](IntfId intf, const Pkt&) { sent += intf.name(); });
  foreign.pams->pam(p)->txPktIs(packet(frame(0, 1)));
  EXPECT_EQ(sent, "");
  second.pams->pam(p)->txPktIs(packet(frame(0, 1)));
  EXPECT_EQ(sent, "60port1");
}

TEST_F(PamManagerTest, EngineOutlivesItsSwitch) {
  const IntfId p = sw->portIs("port1", mac(1));
  engine.desired->intfDesiredIs(p, true);
  engine.manager->enabledIs(true);
  int sent = 0;
  sw->onTransmit([&](IntfId, const Pkt&) { ++sent; });
  sw.reset();
  engine.pams->pam(p)->txPktIs(packet(frame(0, 1)));
  engine.manager->enabledIs(false);
  EXPECT_EQ(sent, 0);
}

}  // namespace
