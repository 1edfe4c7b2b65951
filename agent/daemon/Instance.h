#pragma once

#include <map>
#include <memory>
#include <string>

#include "agent/daemon/Application.h"
#include "agent/daemon/EngineServices.h"
#include "agent/daemon/Host.h"
#include "agent/daemon/Monitor.h"
#include "agent/daemon/Recording.h"
#include "agent/daemon/Requests.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpStatus.h"
#include "platform/host/StateDatabase.h"

namespace Daemon {

class StreamApplication;

// One running application: its engine with everything that this stands on.
class Instance final : private Monitor::Listener, private EngineServices::LogListener {
 public:
  // What becomes of the engine's work. All but `indicated` is called from inside it.
  class Listener {
   public:
    virtual void indicated(Instance& of, bool join, const Mrp::MrpParameters& parameters) = 0;
    virtual void sent(Instance& of, IntfId intf, std::span<const std::uint8_t> octets) = 0;
    // Whether what the engine logs is of use to anybody.
    virtual bool wantsLog() const = 0;
    virtual void logged(Instance& of, std::string_view handle, const std::string& text) = 0;
    virtual void committed(Instance& of, const Mrp::MrpAttribute& attribute, bool added) = 0;
    virtual void changed(Instance& of, const Mrp::MrpAttribute& attribute) = 0;

   protected:
    ~Listener() = default;
  };
  struct Surroundings {
    Host& host;
    Platform::Host::Directories& directories;
    Ptr<Platform::AttrLogOutput> attrLog;  // may be null
    Mrp::StreamForwarding* streams;        // of a bridge; null in a station
    Listener& listener;
    Recording& recording;  // outlives the instance
  };
  // What the agent wants of one port.
  struct Settings {
    Mrp::VlanSet vlans;
    RegistrationSets registrations;
    std::map<Requests::Id, Requests::Image> others;  // declarations of MSRP
    std::optional<double> leaveTime;
    std::optional<double> leaveAllTime;
  };

  // In standby. `bridge`: registrations propagate between forwarding ports.
  Instance(Mrp::MrpApplication application, bool bridge, bool roles, const Surroundings& around);
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  Mrp::MrpApplication application() const { return application_; }
  // "mvrp" or "msrp".
  const char* name() const;
  std::uint8_t types() const { return application_ == Mrp::MrpApplication::mvrp ? 1 : 4; }
  bool propagates() const { return bridge_; }

  Mrp::Engine& engine() const { return *engine_; }
  Mrp::MrpLib& lib() const { return *lib_; }
  Application& app() const { return *app_; }
  // MSRP where it propagates, else null.
  StreamApplication* streamApp() const { return streamApp_; }
  Mrp::MrpConfig& config() const { return *config_; }
  Mrp::MrpStatus& status() const { return *status_; }
  Platform::Trace& trace() const { return services_->trace(); }
  const Monitor& monitor() const { return monitor_; }
  const Mrp::Accounts::Account& account() const { return recorder_.kept(); }
  InstanceRecorder& recorder() { return recorder_; }

  void activate();
  bool active() const { return engine_->active(); }

  // Ports on which the application runs, with what is wanted there; only what differs is done.
  void portIs(IntfId intf, const Settings& settings);
  void portDel(IntfId intf);
  // Whether the port's neighbour has been asked what it declares; gives what it was before.
  bool askedIs(IntfId intf, bool asked);
  bool portHas(IntfId intf) const { return ports_.has(intf); }
  const Settings* settings(IntfId intf) const { return ports_.find(intf); }
  void everywhereIs(const Mrp::VlanSet& vlans);

  // Puts a record into the status of an engine that is not active yet. False when it is none of
  // this application.
  bool recordIs(IntfId intf, std::uint8_t type, std::uint64_t key, bool declared, bool registered,
                std::span<const std::uint8_t> value);
  // The record of an attribute as it is committed or about to be; null when there is none.
  const Mrp::MrpAttrDatabase* record(const Mrp::MrpAttribute& attribute) const;

  // VLANs that the engine's records show on a port; of MVRP.
  Mrp::VlanSet registered(IntfId intf) const;
  Mrp::VlanSet declared(IntfId intf) const;

 private:
  void frameSent(IntfId intf, std::span<const std::uint8_t> octets) override {
    listener_.sent(*this, intf, octets);
  }
  void committed(const Mrp::MrpAttribute& attribute, bool added) override {
    listener_.committed(*this, attribute, added);
  }
  bool listens() const override { return listener_.wantsLog(); }
  void logged(std::string_view handle, const std::string& text) override {
    listener_.logged(*this, handle, text);
  }
  void changed(const Mrp::MrpAttribute& attribute) override { listener_.changed(*this, attribute); }
  void declarationsAre(IntfId intf, const Settings& before, const Settings& now);
  void registrationsAre(IntfId intf, const RegistrationSets& before, const RegistrationSets& now);
  void timesAre(IntfId intf, const Settings& settings);

  Mrp::MrpApplication application_;
  bool bridge_;
  Listener& listener_;
  Monitor monitor_;
  InstanceRecorder recorder_;
  Ptr<Mrp::MrpConfig> config_;
  Ptr<Mrp::MrpStatus> status_;
  Ptr<EngineServices> services_;
  Ptr<Platform::Host::StateDatabase> database_;
  Ptr<Mrp::MrpLib> lib_;
  Application* app_ = nullptr;
  StreamApplication* streamApp_ = nullptr;
  Ptr<Mrp::Engine> engine_;
  Platform::IntfMap<Settings> ports_;
  Platform::IntfMap<bool> asked_;  // those whose neighbours have been asked
  Mrp::VlanSet everywhere_;
};

}  // namespace Daemon
