#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/daemon/Instance.h"
#include "agent/daemon/Log.h"
#include "agent/daemon/Requests.h"
#include "agent/daemon/VlanProgram.h"
#include "agent/daemon/config/Config.h"
#include "agent/daemon/state/Store.h"
#include "agent/daemon/streams/StreamProgram.h"
#include "agent/rpc/Message.h"

namespace Daemon {

// The agent: its ports, the engines of its applications, and what ties them to the host.
class Agent final : private Instance::Listener {
 public:
  enum class Role : std::uint8_t { none, disabled, alternate, designated, root };

  struct Port {
    IntfId intf;
    Host::Link link;
    Role role = Role::none;
    bool forwards() const { return role == Role::designated || role == Role::root; }
  };

  // Who wants to hear what happens.
  class Watcher {
   public:
    // False: nobody would hear of it, and it need not be put into words.
    virtual bool watches() const = 0;
    // `members` follow "time" and "kind"; `port` is empty where it belongs to none.
    virtual void event(const char* kind, const std::string& port, Rpc::Json members) = 0;
    virtual void traced(const Instance& of, int level, const std::string& text) = 0;

   protected:
    ~Watcher() = default;
  };

  // `store` null: memory only. In standby until lead().
  Agent(const Config& config, Host& host, Store* store, const Log& log);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  void watcherIs(Watcher* watcher) { watcher_ = watcher; }

  // Takes up what is stored and goes to work.
  void lead();
  bool active() const { return active_; }
  // Another configuration, which has been checked. What stays is left alone.
  void configIs(const Config& config);
  // Withdraws everything, and takes the agent's traces off the host.
  void withdraw();

  const Config& config() const { return config_; }
  Host& host() const { return host_; }
  Store* store() const { return store_; }
  const std::vector<std::unique_ptr<Instance>>& instances() const { return instances_; }
  // Null when the application is off.
  Instance* instance(Mrp::MrpApplication application) const;
  // By name, in natural order; those that are there.
  const std::map<IntfId, Port>& ports() const { return ports_; }
  const Port* port(const std::string& name) const;
  // Configured, there or not.
  bool known(const std::string& name) const;
  bool relayBlocked() const { return relayBlocked_; }
  // None in station mode.
  std::optional<bool> vlanFiltering() const;
  // VLANs of the port that the agent has put into the kernel's bridge.
  Mrp::VlanSet programmed(const std::string& port) const { return program_.owned(port); }
  // What the bridge of MSRP has decided; null where there is none.
  const Mrp::Streams::StreamPropagation* streams() const;
  const StreamProgram& streamProgram() const { return streamProgram_; }
  // What is fixed and forbidden on a port, static entries of the kernel included.
  RegistrationSets registrations(const std::string& port) const;
  Platform::Seconds now() const { return clock_->now(); }
  Platform::Seconds started() const { return started_; }
  const Mrp::Accounts::FrameRing& frames() const { return recording_.frames; }
  Recording& recording() { return recording_; }

  // The host did not make these entries.
  void entriesRefused(const std::string& port, const Mrp::VlanSet& vlans) {
    program_.refused(port, vlans);
  }

  // What commands ask for: the change is made in `requests()`, then told.
  Requests& requests() { return requests_; }
  void requestsChanged();

 private:
  // agent/daemon/AgentPorts.cpp
  bool takesPart(const std::string& name, const Host::Link& link) const;
  void reviewPorts();
  void portIs(const std::string& name, const Host::Link& link);
  void portDel(IntfId intf);
  void roleIs(Port& port, Role role);
  Role roleOf(const Host::Link& link) const;
  void applySettings();
  void applySettings(const Port& port);
  Instance::Settings settingsOf(const Instance& instance, const Port& port) const;
  void askNeighbours();
  void relayBlock();
  void program();
  void portEvent(const Port& port, const char* change);

  // agent/daemon/AgentStreams.cpp
  StreamProgram::Hooks streamHooks();
  StreamProgram::Port streamPort(const std::string& name, const Host::Link& link) const;
  void reviewStreamPorts();
  void handleStreamHost();
  void programStreams();
  void confirmStreamsLater();
  void handleStreamsConfirmed();
  void reservationEvent(const std::string& port, const StreamProgram::Address& address, bool on);
  void storeStreamClaim(const std::string& port,
                        const std::optional<StreamProgram::Address>& address, bool on);
  void restoreStreamClaim(Entry entry);

  // agent/daemon/AgentState.cpp
  void indicated(Instance& of, bool join, const Mrp::MrpParameters& parameters) override;
  void sent(Instance& of, IntfId intf, std::span<const std::uint8_t> octets) override;
  bool wantsLog() const override { return watched(); }
  void logged(Instance& of, std::string_view handle, const std::string& text) override;
  void committed(Instance& of, const Mrp::MrpAttribute& attribute, bool added) override;
  void changed(Instance& of, const Mrp::MrpAttribute& attribute) override;
  void restore();
  void storeRecord(const Instance& of, const Mrp::MrpAttribute& attribute);
  void storeClaims(const std::string& port, const Mrp::VlanSet& vlans, bool on);
  void storeRequests();
  void storeSnapshot();

  void instancesAre();
  void handleChange();
  // Does what the changes of this turn of the loop come to, once.
  void turn();
  void turnSoon() {
    if (!turnAlarm_.armed()) turnAlarm_.dueIs(clock_->now());
  }
  void event(const char* kind, const std::string& port, Rpc::Json members) const;
  bool watched() const { return watcher_ && watcher_->watches(); }

  Config config_;
  Host& host_;
  Store* store_;
  const Log& log_;
  Ptr<Platform::Clock> clock_;
  Watcher* watcher_ = nullptr;
  Platform::Seconds started_;
  Platform::Host::Directories directories_;
  StreamProgram streamProgram_;
  Recording recording_;
  std::vector<std::unique_ptr<Instance>> instances_;
  std::map<IntfId, Port> ports_;
  Requests requests_;
  VlanProgram program_;
  bool active_ = false;
  bool linksChanged_ = true;
  bool withdrawn_ = false;
  bool relayBlocked_ = false;
  bool relayDue_ = true;    // ports or applications have changed since it was looked at
  std::string relayState_;  // for which blocking was asked for last
  bool warnedOfFiltering_ = false;
  bool warnedOfClasses_ = false;
  // What was told of each reservation that there is, by port and address.
  std::map<std::pair<std::string, StreamProgram::Address>, Rpc::Json> reservations_;
  bool streamHostChanged_ = false;
  bool restored_ = false;  // records of an earlier life
  // Records whose meaning has changed since they were stored.
  std::set<std::pair<Instance*, Mrp::MrpAttribute>> unstored_;
  Platform::Alarm turnAlarm_;
  Platform::Alarm streamAlarm_;
  Platform::Reactor<> changeReactor_;
  Platform::Reactor<> streamHostReactor_;
};

}  // namespace Daemon
