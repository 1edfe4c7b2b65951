#include "agent/daemon/Agent.h"

#include <algorithm>

#include "agent/daemon/config/VlanRanges.h"
#include "agent/daemon/streams/StreamApplication.h"

namespace Daemon {

using Mrp::MrpApplication;

Agent::Agent(const Config& config, Host& host, Store* store, const Log& log)
    : config_(config),
      host_(host),
      store_(store),
      log_(log),
      clock_(host.clock()),
      started_(clock_->now()),
      streamProgram_(host.streams(), streamHooks(), log),
      recording_{.records = config.account, .frames = Mrp::Accounts::FrameRing(config.frameMemory)},
      program_(
          host,
          [this](const std::string& port, const Mrp::VlanSet& vlans, bool on) {
            storeClaims(port, vlans, on);
          },
          [this](const std::string& port, const Mrp::VlanSet& vlans, bool on) {
            Rpc::Json list = Rpc::Json::array();
            for (const std::string& range : rangesOf(vlans)) list.push_back(range);
            event("program", port, {{"port", port}, {"vlans", std::move(list)}, {"on", on}});
          }),
      turnAlarm_(*clock_),
      streamAlarm_(*clock_) {
  directories_.stpStatus()->modeIs(Stp::Mode::rstp);
  turnAlarm_.bind<&Agent::turn>(this);
  streamAlarm_.bind<&Agent::handleStreamsConfirmed>(this);
  if (StreamHost* const streams = host.streams()) {
    streamHostReactor_.watch<&Agent::handleStreamHost>(streams->onChange(), this);
  }
  changeReactor_.watch<&Agent::handleChange>(host.onChange(), this);
  if (store_) store_->snapshotWantedIs([this] { storeSnapshot(); });
  instancesAre();
  reviewPorts();
}

Agent::~Agent() {
  watcher_ = nullptr;
  store_ = nullptr;
}

void Agent::lead() {
  if (active_) return;
  restore();
  active_ = true;
  reviewPorts();
  for (const auto& instance : instances_) {
    instance->activate();
    // What an earlier life has left is in doubt from the start.
    for (const auto& [intf, port] : ports_) {
      if (restored_) instance->engine().doubt(intf);
    }
  }
  confirmStreamsLater();
  askNeighbours();
  if (store_) {
    store_->writeStart();
    storeRequests();
  }
  turn();
  event("state", {}, {{"active", true}});
}

// One engine for each application that is on; those that stay are left alone.
void Agent::instancesAre() {
  const auto is = [this](MrpApplication application, bool enabled) {
    Instance* const present = instance(application);
    if (enabled && !present) {
      instances_.push_back(std::make_unique<Instance>(
          application, config_.bridgeMode(), config_.bridgeMode(),
          Instance::Surroundings{host_, directories_, store_ ? store_->attrLog() : nullptr,
                                 &streamProgram_, *this, recording_}));
      instances_.back()->trace().sinkAdd(
          [this, of = instances_.back().get()](const Platform::Trace::Entry& entry) {
            if (watcher_) watcher_->traced(*of, entry.level, entry.text);
          });
    } else if (!enabled && present) {
      for (const auto& [intf, port] : ports_) present->portDel(intf);
      std::erase_if(unstored_, [&](const auto& record) { return record.first == present; });
      std::erase_if(instances_, [&](const auto& i) { return i.get() == present; });
      if (application == MrpApplication::msrp && config_.bridgeMode() && active_) {
        streamProgram_.end(config_.bridge);
      }
    }
  };
  is(MrpApplication::mvrp, config_.mvrpEnabled);
  is(MrpApplication::msrp, config_.msrpEnabled);
  for (const auto& instance : instances_) {
    const bool mvrp = instance->application() == MrpApplication::mvrp;
    Mrp::MrpConfig& c = instance->config();
    c.leaveTimeIs(mvrp ? config_.mvrpLeaveTime : config_.msrpLeaveTime);
    c.leaveAllTimeIs(mvrp ? config_.mvrpLeaveAllTime : config_.msrpLeaveAllTime);
    c.vlanLimitIs(config_.vlanLimit);
    if (StreamApplication* const streams = instance->streamApp()) streams->settingsAre(config_);
  }
}

void Agent::configIs(const Config& config) {
  const Config before = std::exchange(config_, config);
  requests_.configured(before, config_);
  instancesAre();
  reviewPorts();
  if (!active_) return;
  for (const auto& instance : instances_) instance->activate();
  storeRequests();
  storeSnapshot();
  turnSoon();
}

// Each port that ends tells its neighbour; the rest of the host is left as it was found.
void Agent::withdraw() {
  withdrawn_ = true;
  turnAlarm_.cancel();
  if (!active_) return;
  for (const auto& [intf, port] : ports_) {
    for (const auto& instance : instances_) instance->portDel(intf);
  }
  for (const auto& [intf, port] : ports_) program_.review(intf.name(), {});
  if (config_.bridgeMode()) streamProgram_.end(config_.bridge);
  std::string why;
  if (config_.bridgeMode()) host_.relayBlockIs(config_.bridge, {}, false, false, why);
  relayBlocked_ = false;
  if (!store_) return;
  store_->put({.kind = Entry::Kind::clear});
  storeRequests();
  store_->put({.kind = Entry::Kind::end});
  store_->flush();
}

Instance* Agent::instance(MrpApplication application) const {
  const auto it =
      std::ranges::find(instances_, application, [](const auto& i) { return i->application(); });
  return it == instances_.end() ? nullptr : it->get();
}

const Agent::Port* Agent::port(const std::string& name) const {
  const auto it = ports_.find(IntfId(name));
  return it == ports_.end() ? nullptr : &it->second;
}

bool Agent::known(const std::string& name) const {
  return port(name) || std::ranges::count(config_.ports, name) > 0;
}

std::optional<bool> Agent::vlanFiltering() const {
  if (!config_.bridgeMode()) return std::nullopt;
  const auto bridge = host_.bridge(config_.bridge);
  return bridge && bridge->vlanFiltering;
}

void Agent::requestsChanged() {
  applySettings();
  storeRequests();
  turnSoon();
}

void Agent::handleChange() {
  linksChanged_ = true;
  turnSoon();
}

// What the host cannot do now is tried again at its next change.
void Agent::turn() {
  if (withdrawn_) return;
  if (linksChanged_) reviewPorts();
  if (active_) {
    program();
    programStreams();
    askNeighbours();
    relayBlock();
    auto unstored = std::exchange(unstored_, {});
    for (const auto& [of, attribute] : unstored) storeRecord(*of, attribute);
  }
  if (store_) store_->flush();
}

void Agent::event(const char* kind, const std::string& port, Rpc::Json members) const {
  if (watched()) watcher_->event(kind, port, std::move(members));
}

}  // namespace Daemon
