#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "agent/daemon/state/Database.h"

namespace Daemon {

// What the writer's thread and the agent have in common. It outlives either.
struct WriterState {
  std::string path;
  std::string bootId;
  std::function<void()> wake;  // called from the thread

  std::atomic<bool> leads = false;
  std::atomic<bool> healthy = true;
  std::atomic<bool> snapshotWanted = false;
  std::atomic<std::uint64_t> put = 0;      // entries sent
  std::atomic<std::uint64_t> written = 0;  // entries that are on the disk, or lost

  std::mutex mutex;
  std::condition_variable changed;  // of what follows, and of `written`
  std::string error;                // that nobody has logged yet
  bool done = false;                // the thread has ended
};

// Waits for the lock `lockFd` where it is not -1, then reads entries from `fd` until its other end
// is closed and writes them: a transaction every 50 ms, or every 1,000 entries. Runs in a thread of
// its own and never throws.
void runWriter(const std::shared_ptr<WriterState>& state, int fd, int lockFd);

}  // namespace Daemon
