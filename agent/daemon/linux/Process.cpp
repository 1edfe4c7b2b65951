#include "agent/daemon/linux/Process.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "agent/daemon/Agent.h"
#include "agent/daemon/Control.h"
#include "agent/daemon/linux/LinuxHost.h"
#include "agent/daemon/linux/Notify.h"
#include "agent/daemon/linux/Privileges.h"
#include "agent/rpc/Server.h"

namespace Daemon {
namespace {

namespace Kernel = Platform::Linux;
using Kernel::Loop;

constexpr Platform::Seconds kDrain = 0.3;
constexpr Platform::Seconds kLockRetry = 1.0;

// Whatever makes the agent's start impossible, with its exit status.
class StartError : public std::runtime_error {
 public:
  StartError(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// Wakes the loop from another thread.
class Wake {
 public:
  explicit Wake(Loop& loop) : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), readable_(loop) {
    if (fd_ < 0) throw StartError(Exit::kFailed, std::strerror(errno));
  }
  ~Wake() {
    readable_.unwatch();
    ::close(fd_);
  }
  Wake(const Wake&) = delete;
  Wake& operator=(const Wake&) = delete;

  template <auto Method, class T>
  void bind(T* owner) {
    readable_.bind<Method>(owner);
    readable_.watch(fd_);
  }
  int fd() const { return fd_; }
  static void ask(int fd) {
    const std::uint64_t one = 1;
    if (::write(fd, &one, sizeof one) < 0) {
      // It is asked for already.
    }
  }
  void taken() const {
    std::uint64_t count = 0;
    if (::read(fd_, &count, sizeof count) < 0) {
      // Somebody else took it.
    }
  }

 private:
  int fd_;
  Kernel::Readable readable_;
};

// Hands requests on once there is an agent.
class Gate final : public Rpc::Service {
 public:
  std::string call(Rpc::Peer& peer, const std::string& method, const Rpc::Json& params) override {
    if (control) return control->call(peer, method, params);
    throw Rpc::Error::refused("unavailable", "the agent is starting or ending");
  }
  void gone(Rpc::Peer& peer) override {
    if (control) control->gone(peer);
  }
  void drained(Rpc::Peer& peer) override {
    if (control) control->drained(peer);
  }

  Control* control = nullptr;
};

class Process {
 public:
  Process(std::string file, std::span<const OptionText> options, const Loaded& loaded,
          const Log& log)
      : file_(std::move(file)),
        options_(options.begin(), options.end()),
        log_(log),
        config_(loaded.config),
        loop_(Platform::makePtr<Loop>()),
        host_(loop_, log),
        wake_(*loop_),
        term_(*loop_, SIGTERM),
        interrupt_(*loop_, SIGINT),
        hangUp_(*loop_, SIGHUP),
        watchdog_(*loop_->clock()),
        lockRetry_(*loop_->clock()) {
    term_.bind<&Process::handleStop>(this);
    interrupt_.bind<&Process::handleStop>(this);
    hangUp_.bind<&Process::handleHangUp>(this);
    wake_.bind<&Process::handleWake>(this);
    watchdog_.bind<&Process::handleWatchdog>(this);
    lockRetry_.bind<&Process::handleLockRetry>(this);
    const std::optional<UserIds> user = userOf(loaded);
    openSockets(loaded, user);
    dropPrivileges(user);
    openStore(user.has_value());
    host_.refusedIs([this](const std::string& port, const Mrp::VlanSet& vlans) {
      if (agent_) agent_->entriesRefused(port, vlans);
    });
    agent_ = std::make_unique<Agent>(config_, host_, store_.get(), log_);
    control_ = std::make_unique<Control>(
        *agent_, Control::Hooks{[this] { return reload(); }, [this] { return takeOver(); }});
    agent_->watcherIs(control_.get());
    gate_.control = control_.get();
  }
  ~Process() {
    gate_.control = nullptr;
    controlServer_.reset();
    queryServer_.reset();
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  int run() {
    warnOfFixedPorts();
    if (!config_.standby || takeOver()) {
      agent_->lead();
    } else {
      log_.info("standing by for " + config_.state);
    }
    log_.always(Log::Level::info, "ready");
    notifyManager("READY=1");
    handleWatchdog();
    loop_->run();
    end();
    return Exit::kDone;
  }

 private:
  static std::string placeOf(const Loaded& loaded, const std::string& path) {
    const auto place = loaded.places.find(path);
    return (place == loaded.places.end() ? loaded.file : place->second) + ": " + path + ": ";
  }
  std::optional<UserIds> userOf(const Loaded& loaded) const {
    if (config_.user.empty()) return std::nullopt;
    if (auto user = userNamed(config_.user)) return user;
    throw StartError(Exit::kConfiguration,
                     placeOf(loaded, "agent.user") + "the name of a user of this host");
  }

  void openSockets(const Loaded& loaded, const std::optional<UserIds>& user) {
    Rpc::Server::Options options;
    if (user) options.owner = user->uid;
    if (!config_.group.empty()) {
      options.group = groupNamed(config_.group);
      if (!options.group) {
        throw StartError(Exit::kConfiguration,
                         placeOf(loaded, "agent.group") + "the name of a group of this host");
      }
    }
    options.path = config_.socket;
    options.mode = 0660;
    controlServer_.emplace(loop_->uv(), options, gate_);
    options.path = config_.querySocket;
    options.mode = 0666;
    options.mayChange = false;
    queryServer_.emplace(loop_->uv(), options, gate_);
  }

  // As the user that the agent has become.
  void openStore(bool asUser) {
    if (config_.state.empty()) return;
    std::string folder = std::filesystem::path(config_.state).parent_path();
    if (folder.empty()) folder = ".";
    if (asUser && ::access(folder.c_str(), W_OK) != 0) {
      throw StartError(Exit::kFailed, folder + ": user " + config_.user +
                                          " cannot write the state there: " + std::strerror(errno));
    }
    Store::Options options{config_.state, host_.bootId(), loop_->clock(),
                           [fd = wake_.fd()] { Wake::ask(fd); }};
    store_ = std::make_unique<Store>(options, log_);
    if (config_.standby) return;
    if (store_->lock() == Store::Lock::taken) {
      throw StartError(Exit::kFailed, config_.state + ": another agent leads with this state");
    }
  }

  // Whether this agent leads now; waits for it otherwise.
  bool takeOver() {
    if (agent_->active()) return true;
    const Store::Lock lock = store_->lock();
    if (lock == Store::Lock::held) {
      agent_->lead();
      return true;
    }
    if (lock == Store::Lock::taken) {
      store_->lockWait();
    } else {
      lockRetry_.dueIs(loop_->clock()->now() + kLockRetry);
    }
    return false;
  }

  void handleLockRetry() { takeOver(); }

  void handleWake() {
    wake_.taken();
    if (!store_) return;
    if (store_->leads() && !agent_->active()) {
      log_.info("taking over");
      agent_->lead();
    }
    store_->handleWake();
  }

  void handleHangUp() { reload(); }

  // What is wrong with the configuration, which then changes nothing.
  std::string reload() {
    Loaded later = load(file_, options_);
    if (later.errors.empty()) later.errors = changesForLife(config_, later);
    std::string all;
    for (const std::string& error : later.errors) {
      log_.error(error);
      (all += all.empty() ? "" : "; ") += error;
    }
    if (!all.empty()) return all;
    config_ = later.config;
    logLevel();
    warnOfFixedPorts();
    agent_->configIs(config_);
    log_.info("configuration read again");
    return {};
  }

  void logLevel() { log_.levelIs(*Log::level(config_.log)); }

  void warnOfFixedPorts() {
    std::string ports;
    if (config_.registration == "fixed") ports = "every port";
    for (const auto& [name, port] : config_.port) {
      if (port.registration == "fixed") (ports += ports.empty() ? "" : ", ") += name;
    }
    if (ports.empty()) return;
    log_.warning("registration \"fixed\" of a whole port means all 4,094 VLANs: " + ports);
  }

  void handleWatchdog() {
    const auto interval = watchdogInterval();
    if (!interval) return;
    if (watching_) notifyManager("WATCHDOG=1");
    watching_ = true;
    watchdog_.dueIs(loop_->clock()->now() + *interval);
  }

  // A second signal ends the process at once.
  void handleStop() {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    loop_->stop();
  }

  void end() {
    notifyManager("STOPPING=1");
    if (config_.onStop == "withdraw") {
      agent_->withdraw();
      host_.flush();
    }
    if (!store_) return;
    if (agent_->active() && !store_->drain(kDrain)) {
      log_.warning(config_.state + ": the disk does not answer; the last changes are not kept");
    }
    store_->unlock();
  }

  std::string file_;
  std::vector<OptionText> options_;
  Log log_;
  Config config_;
  Ptr<Loop> loop_;
  LinuxHost host_;
  Wake wake_;
  Kernel::SignalEvent term_;
  Kernel::SignalEvent interrupt_;
  Kernel::SignalEvent hangUp_;
  Platform::Alarm watchdog_;
  Platform::Alarm lockRetry_;
  bool watching_ = false;
  Gate gate_;
  std::optional<Rpc::Server> controlServer_;
  std::optional<Rpc::Server> queryServer_;
  std::unique_ptr<Store> store_;
  std::unique_ptr<Agent> agent_;
  std::unique_ptr<Control> control_;
};

}  // namespace

int runAgent(const std::string& file, std::span<const OptionText> options) {
  Log log(standardErrorSink());
  const Loaded loaded = load(file, options);
  for (const std::string& error : loaded.errors) log.error(error);
  if (!loaded.errors.empty()) return Exit::kConfiguration;
  log.levelIs(*Log::level(loaded.config.log));
  std::signal(SIGPIPE, SIG_IGN);
  // LeaveAll periods of hosts that start together shall not fall together.
  std::srand(std::random_device()());
  try {
    return Process(file, options, loaded, log).run();
  } catch (const StartError& error) {
    log.error(error.what());
    return error.status();
  } catch (const std::exception& error) {
    log.error(error.what());
    return Exit::kFailed;
  }
}

}  // namespace Daemon
