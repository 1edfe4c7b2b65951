#include "agent/daemon/state/Writer.h"

#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>

namespace Daemon {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kTransaction = 1000;
constexpr milliseconds kPatience{50};
constexpr milliseconds kRetry{1000};

class Writer {
 public:
  Writer(WriterState& state, int fd) : state_(state), fd_(fd) {
    // A database that could not be read wants everything anew.
    if (!state_.healthy) lost();
  }

  void run() {
    while (receive()) {
      if (isDue()) write();
      if (broken_ && Clock::now() >= retryAt_) recover();
    }
    write();
  }

 private:
  // Waits for entries, or for the time to do something. False at the end.
  bool receive() {
    pollfd readable{fd_, POLLIN, 0};
    const int ready = ::poll(&readable, 1, timeout());
    if (ready <= 0) return ready == 0 || errno == EINTR;
    const ssize_t size = ::recv(fd_, chunk_.data(), chunk_.size(), 0);
    if (size < 0) return errno == EINTR;
    if (size == 0) return false;
    buffer_.insert(buffer_.end(), chunk_.begin(), chunk_.begin() + size);
    std::span<const std::uint8_t> rest(buffer_);
    while (auto entry = take(rest)) accept(std::move(*entry));
    buffer_.erase(buffer_.begin(), buffer_.end() - static_cast<std::ptrdiff_t>(rest.size()));
    return true;
  }

  int timeout() const {
    std::optional<Clock::time_point> until;
    if (!batch_.empty() && !inSnapshot_) until = first_ + kPatience;
    if (broken_ && (!until || retryAt_ < *until)) until = retryAt_;
    if (!until) return -1;
    const auto left = std::chrono::ceil<milliseconds>(*until - Clock::now()).count();
    return static_cast<int>(std::max<milliseconds::rep>(0, left));
  }

  // While entries are missing nothing but a snapshot is of any use.
  void accept(Entry entry) {
    if (entry.kind == Entry::Kind::clear) {
      forget(batch_.size());
      batch_.clear();
      inSnapshot_ = true;
    }
    if (broken_ || (incomplete_ && !inSnapshot_)) return forget(1);
    if (entry.kind == Entry::Kind::end) inSnapshot_ = false;
    if (batch_.empty()) first_ = Clock::now();
    batch_.push_back(std::move(entry));
    if (batch_.back().kind == Entry::Kind::end || (!inSnapshot_ && batch_.size() >= kTransaction)) {
      write();
    }
  }

  bool isDue() const {
    return !batch_.empty() && !inSnapshot_ && Clock::now() >= first_ + kPatience;
  }

  void write() {
    if (batch_.empty() || inSnapshot_) return;
    try {
      if (!database_) database_.emplace(state_.path, state_.bootId);
      database_->write(batch_);
      if (batch_.front().kind == Entry::Kind::clear) {
        incomplete_ = false;
        state_.healthy = true;
      }
    } catch (const DatabaseError& error) {
      fail(error.what());
    }
    forget(batch_.size());
    batch_.clear();
  }

  void forget(std::size_t entries) {
    const std::lock_guard lock(state_.mutex);
    state_.written += entries;
    state_.changed.notify_all();
  }

  void lost() {
    broken_ = incomplete_ = true;
    inSnapshot_ = false;
    retryAt_ = Clock::now() + kRetry;
    state_.healthy = false;
  }

  void fail(const char* error) {
    lost();
    database_.reset();
    {
      const std::lock_guard lock(state_.mutex);
      state_.error = error;
    }
    state_.wake();
  }

  void recover() {
    try {
      database_.reset();
      database_.emplace(state_.path, state_.bootId);
      database_->probe();
      broken_ = false;
      state_.snapshotWanted = true;
      state_.wake();
    } catch (const DatabaseError& error) {
      fail(error.what());
    }
  }

  WriterState& state_;
  int fd_;
  std::array<std::uint8_t, std::size_t{64} << 10> chunk_{};
  std::vector<std::uint8_t> buffer_;
  std::vector<Entry> batch_;
  Clock::time_point first_;  // when the batch began
  std::optional<Database> database_;
  bool inSnapshot_ = false;
  bool broken_ = false;      // the disk did not take it last time
  bool incomplete_ = false;  // entries are missing on the disk
  Clock::time_point retryAt_;
};

}  // namespace

void runWriter(const std::shared_ptr<WriterState>& state, int fd, int lockFd) {
  if (lockFd >= 0) {
    while (::flock(lockFd, LOCK_EX) != 0 && errno == EINTR) {
    }
    state->leads = true;
    state->wake();
  }
  Writer(*state, fd).run();
  ::close(fd);
  const std::lock_guard lock(state->mutex);
  state->done = true;
  state->changed.notify_all();
}

}  // namespace Daemon
