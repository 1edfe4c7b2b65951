#include "platform/embedded/AttrLogSocket.h"

#include <gtest/gtest.h>

namespace {

using namespace Platform;
using Embedded::AttrLogSocket;

class AttrLogSocketTest : public testing::Test {
 protected:
  int queued() { return log->sendQueueOctets(log->sockFd()).value_or(-1); }
  int queuedAfter(std::size_t octets) {
    log->queueOctetsIs(octets);
    return queued();
  }

  Ptr<AttrLogSocket> log = makePtr<AttrLogSocket>();
};

TEST_F(AttrLogSocketTest, AsFullAsItGets) {
  EXPECT_GE(queuedAfter(1'000'000), 212992);
  EXPECT_LT(queued(), 250'000);
  EXPECT_GE(queuedAfter(1), 1);
  EXPECT_LT(queued(), 4096);
}

TEST_F(AttrLogSocketTest, ClosingAndReopeningChangeTheDescriptor) {
  struct Watch {
    void handleSockFd() { ++changes; }
    int changes = 0;
    Reactor<> reactor;
  } watch;
  watch.reactor.watch<&Watch::handleSockFd>(log->onSockFd(), &watch);
  const int first = log->sockFd();
  log->queueOctetsIs(5000);
  log->reopen();
  EXPECT_NE(log->sockFd(), first);
  EXPECT_EQ(queued(), 0);
  EXPECT_EQ(queuedAfter(106496), 106496);
  const int second = log->sockFd();
  log->close();
  EXPECT_EQ(log->sockFd(), -1);
  EXPECT_FALSE(log->sendBufferSize(second));
  EXPECT_FALSE(log->sendQueueOctets(second));
  log->close();
  log->queueOctetsIs(5000);
  EXPECT_EQ(watch.changes, 2);
  log->reopen();
  EXPECT_EQ(watch.changes, 3);
  EXPECT_EQ(log->sendBufferSize(log->sockFd()), 212992);
}

}  // namespace
