#include "cli/web/AgentFeed.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <chrono>

#include "cli/replay/Application.h"

namespace Cli {

using Rpc::Json;

namespace {

using SteadyClock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPace{500};   // between two looks at the agent
constexpr std::chrono::milliseconds kIdle{2000};  // where nothing is heard of it
constexpr int kRetry = 1000;
constexpr std::size_t kMostEventsTold = 200;  // in one message
constexpr std::size_t kMostJobs = 1000;

// Null for what the agent does not know.
Json callIfKnown(Rpc::Client& agent, const char* method) {
  try {
    return agent.call(method);
  } catch (const Rpc::Error&) {
    return nullptr;
  }
}

}  // namespace

AgentFeed::AgentFeed(std::string socket)
    : socket_(std::move(socket)), wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  thread_ = std::thread([this] { run(); });
}

AgentFeed::~AgentFeed() {
  {
    const std::scoped_lock lock(mutex_);
    stopping_ = true;
  }
  broadcast_.end();
  ::eventfd_write(wake_, 1);
  thread_.join();
  ::close(wake_);
}

template <class Result>
Result AgentFeed::ask(std::function<Result(Rpc::Client&)> what) {
  auto promised = std::make_shared<std::promise<Result>>();
  std::future<Result> result = promised->get_future();
  {
    const std::scoped_lock lock(mutex_);
    if (stopping_ || jobs_.size() >= kMostJobs) throw std::runtime_error("too much is asked");
    jobs_.push_back({[promised, what](Rpc::Client& agent) {
                       try {
                         promised->set_value(what(agent));
                       } catch (const std::system_error&) {
                         promised->set_exception(std::current_exception());
                         throw;  // the connection is over
                       } catch (...) {
                         promised->set_exception(std::current_exception());
                       }
                     },
                     [promised, this] {
                       promised->set_exception(
                           std::make_exception_ptr(std::runtime_error("no agent at " + socket_)));
                     }});
  }
  ::eventfd_write(wake_, 1);
  return result.get();
}

Json AgentFeed::call(const std::string& method, const Json& params) {
  return ask<Json>([=](Rpc::Client& agent) { return agent.call(method, params); });
}

Json AgentFeed::tables() {
  return ask<Json>([this](Rpc::Client& agent) { return readTables(agent); });
}

std::string AgentFeed::picture(Mrp::MrpApplication application) {
  return ask<std::string>([this, application](Rpc::Client& agent) {
    updatePictures(agent);
    const auto found = pictures_.find(application);
    if (found == pictures_.end()) return std::string("null");
    std::string json = found->second.whole(std::string(infoOf(application).title) + ", live");
    json.pop_back();
    return json + ",\"after\":" + std::to_string(broadcast_.last()) + '}';
  });
}

// --- The thread
// -----------------------------------------------------------------------------------

void AgentFeed::run() {
  while (true) {
    {
      const std::scoped_lock lock(mutex_);
      if (stopping_) break;
    }
    try {
      Rpc::Client agent(socket_);
      serve(agent);
    } catch (const std::exception&) {
      // Ended, or not there: again.
    }
    broadcast_.put("agent", "{\"there\":false}");
    tablesTold_.clear();
    pictures_.clear();
    refuseJobs();
    pollfd waits{wake_, POLLIN, 0};
    ::poll(&waits, 1, kRetry);
    eventfd_t count = 0;
    ::eventfd_read(wake_, &count);
    refuseJobs();
  }
  refuseJobs();
}

void AgentFeed::serve(Rpc::Client& agent) {
  agent.call("watch");
  broadcast_.put("agent", "{\"there\":true}");
  auto last = SteadyClock::now() - kIdle;
  bool heard = true;
  while (true) {
    {
      const std::scoped_lock lock(mutex_);
      if (stopping_) return;
    }
    heard |= takeEvents(agent);
    doJobs(agent);
    const auto due = last + (heard ? kPace : kIdle);
    const auto now = SteadyClock::now();
    if (viewers_ > 0 && now >= due) {
      refresh(agent);
      last = SteadyClock::now();
      heard = false;
      continue;
    }
    const auto left =
        viewers_ > 0 ? due - now : std::chrono::duration_cast<SteadyClock::duration>(kIdle);
    wait(agent,
         static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(left).count()) + 1);
  }
}

void AgentFeed::wait(Rpc::Client& agent, int milliseconds) {
  if (agent.hasNotification()) return;
  std::array<pollfd, 2> waits{{{agent.fd(), POLLIN, 0}, {wake_, POLLIN, 0}}};
  ::poll(waits.data(), waits.size(), milliseconds);
  eventfd_t count = 0;
  if (waits[1].revents != 0) ::eventfd_read(wake_, &count);
}

// What the agent has told by now. What comes with it is told on, up to a number.
bool AgentFeed::takeEvents(Rpc::Client& agent) {
  Json events = Json::array();
  std::size_t more = 0;
  while (true) {
    pollfd ready{agent.fd(), POLLIN, 0};
    if (!agent.hasNotification() && ::poll(&ready, 1, 0) <= 0) break;
    auto event = agent.next("event");
    if (!event) throw std::runtime_error("the agent has ended");
    if (event->value("kind", "") == "state" && event->value("active", false)) ++takeovers_;
    if (event->value("kind", "") == "tx") event->erase("hex");
    if (events.size() < kMostEventsTold) {
      events.push_back(std::move(*event));
    } else if (++more > 100 * kMostEventsTold) {
      break;  // others wait, too
    }
  }
  if (events.empty()) return false;
  if (viewers_ > 0) {
    broadcast_.put("events", Rpc::textOf({{"events", std::move(events)}, {"more", more}}));
  }
  return true;
}

void AgentFeed::doJobs(Rpc::Client& agent) {
  while (true) {
    Job job;
    {
      const std::scoped_lock lock(mutex_);
      if (jobs_.empty()) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job.work(agent);
  }
}

void AgentFeed::refuseJobs() {
  std::deque<Job> jobs;
  {
    const std::scoped_lock lock(mutex_);
    jobs.swap(jobs_);
  }
  for (const Job& job : jobs) job.refuse();
}

Json AgentFeed::readTables(Rpc::Client& agent) {
  return {{"version", agent.call("version")["version"]},
          {"status", agent.call("status")},
          {"ports", agent.call("ports")},
          {"streams", callIfKnown(agent, "streams")},
          {"counters", agent.call("counters")},
          {"bandwidth", callIfKnown(agent, "bandwidth")},
          {"takeovers", takeovers_}};
}

void AgentFeed::refresh(Rpc::Client& agent) {
  std::string tables = Rpc::textOf(readTables(agent));
  if (tables != tablesTold_) {
    broadcast_.put("tables", tables);
    tablesTold_ = std::move(tables);
  }
  updatePictures(agent);
}

void AgentFeed::updatePictures(Rpc::Client& agent) {
  const Json status = agent.call("status");
  for (const Json& name : status.at("applications")) {
    const auto application = applicationNamed(name.get<std::string>());
    if (!application) continue;
    LivePicture& picture = pictures_.try_emplace(*application, *application).first->second;
    const auto call = [&](const std::string& method, const Json& params) {
      return agent.call(method, params);
    };
    if (!picture.update(call)) {
      broadcast_.put("anew", "{}");
      picture.takeNew();
    } else if (picture.hasNew()) {
      broadcast_.put("facts", "{\"application\":\"" + name.get<std::string>() +
                                  "\",\"data\":" + picture.takeNew() + '}');
    }
  }
}

}  // namespace Cli
