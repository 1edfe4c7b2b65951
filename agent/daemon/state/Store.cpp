#include "agent/daemon/state/Store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

namespace Daemon {
namespace {

constexpr int kSendBuffer = 212992;
constexpr std::size_t kMessage = 4096;
// What may wait beyond the send queue: a writer that is stuck must not cost the agent its memory.
constexpr std::size_t kMaxWaiting = std::size_t{8} << 20;
constexpr Platform::Seconds kSendRetry = 0.1;
constexpr Platform::Seconds kLogInterval = 60;
constexpr std::chrono::milliseconds kFarewell{300};
constexpr unsigned long kOutputQueue = TIOCOUTQ;  // SIOCOUTQ is another name of it

// The same file under a high number. The kernel lets go of what a killed process had open beginning
// with the highest: a lock there is free before packet sockets have ended, each of which takes a
// while.
int above(int fd) {
  constexpr int kHigh = 512;
  const int high = fd < 0 ? -1 : ::fcntl(fd, F_DUPFD_CLOEXEC, kHigh);
  if (high < 0) return fd;
  ::close(fd);
  return high;
}

}  // namespace

// The sending end of the attribute log.
class Store::Output final : public Platform::AttrLogOutput {
 public:
  explicit Output(int fd) : fd_(fd) {}
  ~Output() override { close(); }

  int sockFd() const override { return fd_; }
  std::optional<int> sendBufferSize(int fd) const override {
    int size = 0;
    socklen_t length = sizeof size;
    if (::getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0) return std::nullopt;
    return size;
  }
  std::optional<int> sendQueueOctets(int fd) const override {
    int octets = 0;
    if (::ioctl(fd, kOutputQueue, &octets) != 0) return std::nullopt;
    return octets;
  }
  void close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

Store::Store(const Options& options, const Log& log)
    : log_(log),
      state_(std::make_shared<WriterState>()),
      clock_(options.clock),
      retry_(*options.clock) {
  state_->path = options.path;
  state_->bootId = options.bootId;
  state_->wake = options.wake;
  retry_.bind<&Store::flush>(this);
  std::array<int, 2> fds{-1, -1};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds.data()) != 0) {
    throw std::runtime_error(std::string("attribute log: ") + std::strerror(errno));
  }
  const int half = kSendBuffer / 2;  // the kernel doubles what it is given
  ::setsockopt(fds[0], SOL_SOCKET, SO_SNDBUF, &half, sizeof half);
  output_ = Platform::makePtr<Output>(fds[0]);
  writerFd_ = fds[1];
}

// The end of the log ends the thread when it has written what is there.
Store::~Store() {
  output_->close();
  if (started_) {
    std::unique_lock lock(state_->mutex);
    state_->changed.wait_for(lock, kFarewell, [this] { return state_->done; });
  } else {
    ::close(writerFd_);
  }
  unlock();
}

void Store::unlock() {
  if (lockFd_ < 0) return;
  if (state_->leads) ::flock(lockFd_, LOCK_UN);
  ::close(lockFd_);
  lockFd_ = -1;
}

Store::Lock Store::lock() {
  if (state_->leads) return Lock::held;
  const std::string path = state_->path + ".lock";
  constexpr mode_t kOwn = 0600;
  if (lockFd_ < 0) lockFd_ = above(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwn));
  if (lockFd_ < 0) {
    complain(path + ": " + std::strerror(errno));
    return Lock::unusable;
  }
  if (::flock(lockFd_, LOCK_EX | LOCK_NB) == 0) {
    state_->leads = true;
    return Lock::held;
  }
  return errno == EWOULDBLOCK ? Lock::taken : Lock::unusable;
}

void Store::lockWait() {
  if (!state_->leads) startThread(lockFd_);
}

bool Store::leads() const { return state_->leads; }

// Nobody waits for the thread: whoever ends while it is stuck leaves it to the end of the process.
bool Store::startThread(int lockFd) {
  if (started_) return false;
  started_ = true;
  std::thread(runWriter, state_, writerFd_, lockFd).detach();
  return true;
}

std::vector<Entry> Store::read() {
  try {
    return Database(state_->path, state_->bootId).read();
  } catch (const DatabaseError& error) {
    complain(state_->path + ": " + error.what() + "; going on without it");
    state_->healthy = false;
    return {};
  }
}

void Store::writeStart() {
  mayWrite_ = true;
  startThread(-1);
  flush();
}

Ptr<Platform::AttrLogOutput> Store::attrLog() const { return Ptr<Output>(output_); }

void Store::put(const Entry& entry) {
  if (overflowed_) return;
  append(waiting_, entry);
  ++state_->put;
  if (waiting_.size() - sent_ > kMaxWaiting) {
    // A snapshot will do instead.
    overflowed_ = true;
    return;
  }
  if (waiting_.size() - sent_ >= kMessage) send();
}

void Store::flush() {
  send();
  if (!waiting_.empty() || overflowed_) {
    if (!retry_.armed()) retry_.dueIs(clock_->now() + kSendRetry);
  }
  if (overflowed_ && waiting_.empty()) {
    overflowed_ = false;
    if (snapshotWanted_) snapshotWanted_();
  }
}

void Store::send() {
  if (!mayWrite_) return;
  while (sent_ < waiting_.size()) {
    const std::size_t size = std::min(kMessage, waiting_.size() - sent_);
    const ssize_t n =
        ::send(output_->sockFd(), waiting_.data() + sent_, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n <= 0) break;
    sent_ += static_cast<std::size_t>(n);
  }
  if (sent_ == waiting_.size()) {
    waiting_.clear();
    sent_ = 0;
  } else if (sent_ > kMaxWaiting / 8) {
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(sent_));
    sent_ = 0;
  }
}

void Store::snapshotWantedIs(std::function<void()> wanted) { snapshotWanted_ = std::move(wanted); }

void Store::handleWake() {
  std::string error;
  {
    const std::lock_guard lock(state_->mutex);
    error = std::exchange(state_->error, {});
  }
  if (!error.empty()) complain(state_->path + ": " + error + "; the state is not kept");
  if (state_->snapshotWanted.exchange(false) && snapshotWanted_) {
    snapshotWanted_();
  }
}

// One trouble has many signs, and is tried again and again.
void Store::complain(const std::string& text) {
  if (logged_ && clock_->now() - *logged_ < kLogInterval) return;
  logged_ = clock_->now();
  log_.error(text);
}

const std::string& Store::path() const { return state_->path; }
bool Store::healthy() const { return state_->healthy; }
std::uint64_t Store::behind() const {
  const std::uint64_t written = state_->written;
  const std::uint64_t put = state_->put;
  return put > written ? put - written : 0;
}

bool Store::drain(Platform::Seconds atMost) {
  flush();
  const auto until =
      std::chrono::steady_clock::now() + std::chrono::nanoseconds(atMost.nanoseconds());
  std::unique_lock lock(state_->mutex);
  while (state_->written < state_->put && started_) {
    if (!waiting_.empty()) {
      lock.unlock();
      send();
      lock.lock();
    }
    const auto soon =
        std::min(until, std::chrono::steady_clock::now() + std::chrono::milliseconds(20));
    state_->changed.wait_until(lock, soon);
    if (std::chrono::steady_clock::now() >= until) break;
  }
  return state_->written >= state_->put;
}

}  // namespace Daemon
