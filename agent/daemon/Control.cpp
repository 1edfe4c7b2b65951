#include "agent/daemon/Control.h"

#include <algorithm>

#include "agent/daemon/Methods.h"

namespace Daemon {

using Rpc::Error;
using Rpc::Json;

std::string Control::call(Rpc::Peer& peer, const std::string& name, const Json& params) {
  const Method* method = methodNamed(name);
  if (!method) throw Error(Rpc::Code::kMethodNotFound, "no such method: " + name);
  if (method->changes && !peer.mayChange()) {
    throw Error::refused("not-allowed", "the query socket changes nothing");
  }
  if (method->needsLead && !agent_.active()) {
    throw Error::refused("standby", "the agent is in standby");
  }
  const auto credentials = peer.credentials();
  const Asking asking(agent_.recording(), credentials ? credentials->user : Mrp::Accounts::kNobody,
                      credentials ? credentials->process : Mrp::Accounts::kNobody);
  return answerOf(*method, {*this, peer, Params(agent_, params)});
}

Control::Client& Control::client(Rpc::Peer& peer) {
  const auto it = std::ranges::find(clients_, &peer, &Client::peer);
  if (it != clients_.end()) return *it;
  peer.staysOpenIs(true);
  return clients_.emplace_back(Client{&peer, false, {}, {}, {}});
}

void Control::watch(Rpc::Peer& peer, const std::string& port, std::set<std::string> kinds) {
  Client& c = client(peer);
  watching_ += c.watches ? 0 : 1;
  c.watches = true;
  c.port = port;
  c.kinds = std::move(kinds);
}

void Control::trace(Rpc::Peer& peer, Instance& of, int level) {
  client(peer).levels[of.application()] = level;
  levelsAre();
}

// The most that anybody wants, and what it was before when nobody does any more.
void Control::levelsAre() {
  std::map<Mrp::MrpApplication, int> wanted;
  for (const Client& c : clients_) {
    for (const auto& [application, level] : c.levels) {
      wanted[application] = std::max(wanted[application], level);
    }
  }
  for (const auto& instance : agent_.instances()) {
    const auto application = instance->application();
    if (const auto it = wanted.find(application); it != wanted.end()) {
      untraced_.try_emplace(application, instance->trace().level());
      instance->trace().levelIs(it->second);
    } else if (const auto before = untraced_.find(application); before != untraced_.end()) {
      instance->trace().levelIs(before->second);
      untraced_.erase(before);
    }
  }
}

void Control::gone(Rpc::Peer& peer) {
  const auto it = std::ranges::find(clients_, &peer, &Client::peer);
  if (it == clients_.end()) return;
  watching_ -= it->watches ? 1 : 0;
  clients_.erase(it);
  levelsAre();
}

void Control::event(const char* kind, const std::string& port, Json members) {
  Json params{{"time", agent_.now().value()}, {"kind", kind}};
  params.update(members);
  const std::string line = Rpc::notificationLine("event", params);
  for (Client& c : clients_) {
    if (!c.watches) continue;
    if (!c.port.empty() && !port.empty() && c.port != port) continue;
    if (!c.kinds.empty() && !c.kinds.contains(kind)) continue;
    tell(c, line);
  }
}

void Control::traced(const Instance& of, int level, const std::string& text) {
  std::string line;
  for (Client& c : clients_) {
    const auto wanted = c.levels.find(of.application());
    if (wanted == c.levels.end() || level > wanted->second) continue;
    if (line.empty()) {
      line = Rpc::notificationLine("trace",
                                   {{"application", of.name()}, {"level", level}, {"text", text}});
    }
    tell(c, line);
  }
}

// What was left out is told before anything that comes after it, and when all before it is read.
void Control::drained(Rpc::Peer& peer) {
  if (const std::uint64_t lost = peer.takeLost()) {
    peer.event(Rpc::notificationLine(
        "event", {{"time", agent_.now().value()}, {"kind", "overrun"}, {"lost", lost}}));
  }
}

void Control::tell(Client& c, const std::string& line) {
  if (c.peer->hasRoom()) drained(*c.peer);
  c.peer->event(line);
}

}  // namespace Daemon
