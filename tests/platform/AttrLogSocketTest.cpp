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

}  // namespace
