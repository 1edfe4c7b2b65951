#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "agent/rpc/Client.h"
#include "cli/web/Broadcast.h"
#include "cli/web/LivePicture.h"

namespace Cli {

// The one connection to the agent, whoever looks on: a thread that watches, asks for what has
// changed, and tells it to all viewers. Without an agent it tries again every second.
class AgentFeed {
 public:
  explicit AgentFeed(std::string socket);
  ~AgentFeed();
  AgentFeed(const AgentFeed&) = delete;
  AgentFeed& operator=(const AgentFeed&) = delete;

  Broadcast& broadcast() { return broadcast_; }

  // Answers of the agent, from any thread. They throw Rpc::Error as it answers, and
  // std::runtime_error when there is no agent.
  Rpc::Json call(const std::string& method, const Rpc::Json& params);
  // All tables, for one who begins to look, and what metrics are made of.
  Rpc::Json tables();
  // The picture of an application and the number of the message after which it goes on.
  std::string picture(Mrp::MrpApplication application);

  // One who looks on is there: only then the agent is asked.
  class Viewer {
   public:
    explicit Viewer(AgentFeed& feed) : feed_(feed) { ++feed_.viewers_; }
    ~Viewer() { --feed_.viewers_; }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

   private:
    AgentFeed& feed_;
  };
  int viewers() const { return viewers_; }

 private:
  using Work = std::function<void(Rpc::Client&)>;
  void run();
  void serve(Rpc::Client& agent);
  void wait(Rpc::Client& agent, int milliseconds);
  void refresh(Rpc::Client& agent);
  void updatePictures(Rpc::Client& agent);
  bool takeEvents(Rpc::Client& agent);
  void doJobs(Rpc::Client& agent);
  void refuseJobs();
  Rpc::Json readTables(Rpc::Client& agent);
  // Has the thread do it, and waits.
  template <class Result>
  Result ask(std::function<Result(Rpc::Client&)> what);

  struct Job {
    Work work;
    std::function<void()> refuse;
  };

  std::string socket_;
  Broadcast broadcast_;
  std::atomic<int> viewers_ = 0;
  std::uint64_t takeovers_ = 0;
  std::map<Mrp::MrpApplication, LivePicture> pictures_;
  std::string tablesTold_;
  std::mutex mutex_;
  std::deque<Job> jobs_;
  bool stopping_ = false;
  int wake_;  // an eventfd: there are jobs, or it is over
  std::thread thread_;
};

}  // namespace Cli
