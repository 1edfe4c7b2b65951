#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/daemon/Log.h"
#include "agent/daemon/state/Writer.h"
#include "platform/state/EntityManager.h"
#include "platform/time/Clock.h"

namespace Daemon {

using Platform::Ptr;

// The state that outlives the process: a SQLite database, written by a thread of its own that reads
// the attribute log. What the thread cannot write is lost, and when it can write again it asks for
// all of it anew.
class Store {
 public:
  enum class Lock : std::uint8_t {
    held,      // this process leads
    taken,     // another one does
    unusable,  // nobody can tell
  };
  // `wake` is called from the writer's thread when there is something to do here: handleWake() is
  // to be called then from the thread that owns this object.
  struct Options {
    std::string path;
    std::string bootId;
    Ptr<Platform::Clock> clock;
    std::function<void()> wake;
  };

  Store(const Options& options, const Log& log);
  // Leaves the thread to itself when it does not end at once: the process is to end then.
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // Tries for leadership, without waiting.
  Lock lock();
  // Waits for it in a thread, which calls `wake` when it has come: then leads() is true.
  void lockWait();
  bool leads() const;

  // Everything that is stored, of this boot as far as claims go. To be called by the leader, before
  // writing begins. Nothing when the database cannot be read, which is then logged.
  std::vector<Entry> read();
  // From now on what is put is written.
  void writeStart();

  // The log's sending end, whose queue shows how far the disk lags behind.
  Ptr<Platform::AttrLogOutput> attrLog() const;
  void put(const Entry& entry);
  // Hands on what was put, as far as the log takes it.
  void flush();

  // Called in the owner's thread when all is wanted anew: put() a `clear` and everything there is.
  void snapshotWantedIs(std::function<void()> wanted);
  void handleWake();

  const std::string& path() const;
  bool healthy() const;
  // Entries that were put and are not on the disk yet.
  std::uint64_t behind() const;

  // Waits until all is written, as long as the disk answers and at most `atMost`.
  bool drain(Platform::Seconds atMost);
  void unlock();

 private:
  class Output;
  bool startThread(int lockFd);
  void send();
  void complain(const std::string& text);

  const Log& log_;
  std::shared_ptr<WriterState> state_;
  std::function<void()> snapshotWanted_;
  Platform::Ptr<Output> output_;
  int writerFd_ = -1;  // until the thread has it
  int lockFd_ = -1;
  bool started_ = false;
  bool mayWrite_ = false;
  bool overflowed_ = false;  // entries were dropped, for too many waited
  std::vector<std::uint8_t> waiting_;
  std::size_t sent_ = 0;  // octets of `waiting_`
  std::optional<Platform::Seconds> logged_;
  Ptr<Platform::Clock> clock_;
  Platform::Alarm retry_;
};

}  // namespace Daemon
