#pragma once

#include <functional>
#include <list>
#include <optional>
#include <set>
#include <string>

#include "agent/daemon/Agent.h"
#include "agent/rpc/Server.h"

namespace Daemon {

// The agent's methods, for the control socket and the query socket.
class Control final : public Rpc::Service, public Agent::Watcher {
 public:
  struct Hooks {
    // Reads the configuration anew; what is wrong with it, empty for nothing.
    std::function<std::string()> reload;
    // Takes the lead over, if nobody else has it.
    std::function<bool()> activate;
  };

  Control(Agent& agent, Hooks hooks) : agent_(agent), hooks_(std::move(hooks)) {}

  std::string call(Rpc::Peer& peer, const std::string& method, const Rpc::Json& params) override;
  void gone(Rpc::Peer& peer) override;
  void drained(Rpc::Peer& peer) override;

  bool watches() const override { return watching_ > 0; }
  void event(const char* kind, const std::string& port, Rpc::Json members) override;
  void traced(const Instance& of, int level, const std::string& text) override;

  // For methods.
  Agent& agent() const { return agent_; }
  const Hooks& hooks() const { return hooks_; }
  void watch(Rpc::Peer& peer, const std::string& port, std::set<std::string> kinds);
  void trace(Rpc::Peer& peer, Instance& of, int level);

 private:
  struct Client {
    Rpc::Peer* peer;
    bool watches = false;
    std::string port;             // empty: every port
    std::set<std::string> kinds;  // empty: every kind
    // Levels that it traces applications at.
    std::map<Mrp::MrpApplication, int> levels;
  };
  Client& client(Rpc::Peer& peer);
  void tell(Client& client, const std::string& line);
  void levelsAre();

  Agent& agent_;
  Hooks hooks_;
  std::list<Client> clients_;
  int watching_ = 0;
  // Levels as they were before anybody traced.
  std::map<Mrp::MrpApplication, int> untraced_;
};

}  // namespace Daemon
