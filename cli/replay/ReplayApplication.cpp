#include "cli/replay/ReplayApplication.h"

#include "agent/msrp/MsrpBridge.h"
#include "agent/msrp/StreamSwitch.h"
#include "agent/mvrp/MvrpBridge.h"

namespace Cli {

using Platform::Clock;
using Platform::IntfId;
using Platform::Ptr;
using Platform::VlanId;

namespace {

// A service object that hands its indications to an output before it acts on them.
template <class Lib>
class Reported final : public Lib {
 public:
  template <class... Args>
  Reported(const Clock& clock, Output& output, Args&&... args)
      : Lib(std::forward<Args>(args)...), clock_(clock), output_(output) {}

  bool mrpJoinIndication(const Mrp::MrpParameters& parameters) override {
    indicate(true, parameters);
    return Lib::mrpJoinIndication(parameters) || joinDiscard;
  }
  void mrpLeaveIndication(const Mrp::MrpParameters& parameters) override {
    indicate(false, parameters);
    Lib::mrpLeaveIndication(parameters);
  }

  bool joinDiscard = false;

 private:
  void indicate(bool join, const Mrp::MrpParameters& parameters) {
    const std::uint8_t type = parameters.attributeType;
    const auto value = this->rxImage(type);
    output_.indication(clock_.now(),
                       {join, parameters.intfId.name(), type, this->values().rxKey(type),
                        parameters.attributeEvent, Octets(value.begin(), value.end())});
  }

  const Clock& clock_;
  Output& output_;
};

class PlainApplication final : public ReplayApplication {
 public:
  PlainApplication(const ApplicationInfo& info, const Clock& clock, Output& output)
      : lib_(Platform::makePtr<Reported<Mrp::MrpLib>>(clock, output)) {
    lib_->identityIs(info);
    lib_->hasNotificationActiveIs(true);
  }

  Mrp::MrpLib& lib() override { return *lib_; }
  void joinDiscardIs(bool discard) override { lib_->joinDiscard = discard; }

 private:
  Ptr<Reported<Mrp::MrpLib>> lib_;
};

// What the bridges have in common.
template <class Bridge>
class BridgeApplication : public ReplayApplication {
 public:
  template <class... Args>
  explicit BridgeApplication(Args&&... args)
      : bridge_(Platform::makePtr<Reported<Bridge>>(std::forward<Args>(args)...)) {}

  Mrp::MrpLib& lib() override { return *bridge_; }
  void start() override { bridge_->start(); }
  void portIs(IntfId intf, bool enabled) override { bridge_->portIs(intf, enabled); }
  void enabledIs(IntfId intf, bool enabled) override { bridge_->portEnabledIs(intf, enabled); }
  void accountIs(Mrp::Accounts::Account* account) override {
    account_ = account;
    bridge_->accountIs(account);
  }

 protected:
  Bridge& bridge() { return *bridge_; }
  const Bridge& bridge() const { return *bridge_; }
  Mrp::Accounts::Account* account() const { return account_; }

 private:
  Mrp::Accounts::Account* account_ = nullptr;
  Ptr<Reported<Bridge>> bridge_;
};

// What somebody asked for is the reason of what the bridge does until this ends.
Mrp::Accounts::Because because(Mrp::Accounts::Account* account, Mrp::Accounts::Verb verb,
                               const std::optional<std::string>& port, std::uint16_t vlan,
                               const ReplayApplication::Requester& by) {
  const Mrp::MrpAttribute attribute{port ? IntfId(*port) : IntfId(), 1, vlan};
  return Mrp::Accounts::because(
      account, [&](Mrp::Accounts::Account& a) { return a.request(verb, attribute, by); });
}

Mrp::Accounts::Verb verbOf(Mrp::Registration registration) {
  switch (registration) {
    case Mrp::Registration::fixed:
      return Mrp::Accounts::Verb::fixed;
    case Mrp::Registration::forbidden:
      return Mrp::Accounts::Verb::forbidden;
    case Mrp::Registration::normal:
      break;
  }
  return Mrp::Accounts::Verb::normal;
}

class MvrpApplication final : public BridgeApplication<Mrp::MvrpBridge> {
 public:
  using BridgeApplication::BridgeApplication;
  using ReplayApplication::act;

  void act(const DeclareAction& action, const Requester& by) override {
    using enum Mrp::Accounts::Verb;
    for (const std::uint16_t vlan : action.vlans) {
      const auto asked =
          because(account(), action.declare ? declare : withdraw, action.port, vlan, by);
      if (action.port) {
        bridge().declarationIs(IntfId(*action.port), VlanId(vlan), action.declare);
      } else {
        bridge().declarationIs(VlanId(vlan), action.declare);
      }
    }
  }
  void act(const RegistrationAction& action, const Requester& by) override {
    const IntfId intf(action.port);
    if (!action.vlans) {
      const auto asked = because(account(), verbOf(action.is), action.port, 0, by);
      return bridge().registrationIs(intf, action.is);
    }
    for (const std::uint16_t vlan : *action.vlans) {
      const auto asked = because(account(), verbOf(action.is), action.port, vlan, by);
      bridge().registrationIs(intf, VlanId(vlan), action.is);
    }
  }

  Mrp::Registration registration(IntfId intf, std::uint16_t vlan) const override {
    return bridge().registration(intf, vlan);
  }
  BridgeState state(std::span<const std::string> ports) const override {
    MvrpBridgeState state;
    for (const std::string& port : ports) {
      const IntfId intf(port);
      state.ports.push_back(
          {port, bridge().registrations(intf), bridge().declared(intf), bridge().registered(intf)});
    }
    return state;
  }
};

class MsrpApplication final : private Mrp::StreamSwitch, public BridgeApplication<Mrp::MsrpBridge> {
 public:
  MsrpApplication(const Ptr<Clock>& clock, Output& output)
      : BridgeApplication(*clock, output, static_cast<Mrp::StreamForwarding&>(*this), clock) {
    onReservation = [&](std::uint16_t vlan, Platform::EthAddr address, const Mrp::PortSet& ports) {
      output.reserved(clock_->now(), {vlan, address, ports});
    };
    onSlope = [&](IntfId intf, Mrp::SrClass srClass, Mrp::BitsPerSecond slope) {
      output.sloped(clock_->now(), {intf, srClass, slope});
    };
    onBoundary = [&](IntfId intf, Mrp::SrClass srClass, bool on) {
      output.bounded(clock_->now(), {intf, srClass}, on);
    };
    clock_ = clock;
  }
  using ReplayApplication::act;

  void act(const BridgePortAction& action) override {
    const IntfId intf(action.port);
    Mrp::StreamPort port = streamPort(intf);
    if (action.rate) port.rate = *action.rate;
    if (action.maxPayload) port.maxPayload = *action.maxPayload;
    if (action.capable) port.capable = *action.capable;
    for (const auto& [id, delta] : action.delta) ofClass(port, id).delta = delta;
    for (const auto& [id, latency] : action.latency) ofClass(port, id).maxLatency = latency;
    StreamSwitch::portIs(intf, port);
  }
  void act(const EgressAction& action) override {
    egressIs(IntfId(action.port), action.vlan, action.is);
  }
  void act(const AddressAction& action) override {
    addressIs(IntfId(action.port), {action.vlan, action.dmac}, action.registered);
  }
  void act(const BridgeAction& action) override {
    if (action.talkerPruning) bridge().talkerPruningIs(*action.talkerPruning);
    if (action.fanIn) bridge().fanInLimitIs(*action.fanIn);
    if (action.overhead) bridge().overheadIs(*action.overhead);
    if (action.streamLimit) bridge().streamLimitIs(*action.streamLimit);
    if (action.entryLimit) entryLimitIs(*action.entryLimit);
    if (action.recovery) bridge().recoveryIs(*action.recovery);
  }

  const Mrp::Streams::StreamPropagation* streams() const override {
    return &bridge().propagation();
  }
  BridgeState state(std::span<const std::string>) const override {
    const Mrp::Streams::StreamPropagation& p = bridge().propagation();
    return MsrpBridgeState{p.reservations(), p.slopes(), p.boundaries(), p.streams()};
  }

 private:
  static Mrp::StreamPort::OfClass& ofClass(Mrp::StreamPort& port, std::uint64_t id) {
    return port.ofClass[indexOf(*Mrp::srClassNumbered(id))];
  }

  Ptr<Clock> clock_;
};

}  // namespace

void ReplayApplication::portIs(IntfId intf, bool enabled) {
  if (enabled) enabledIs(intf, true);
}

void ReplayApplication::enabledIs(IntfId intf, bool enabled) {
  if (lib().engine()->enabled(intf) == enabled) return;
  if (enabled) {
    lib().mrpInterfaceEnable(intf);
  } else {
    lib().mrpInterfaceDisable(intf);
  }
}

std::unique_ptr<ReplayApplication> replayApplication(const ApplicationInfo& info, bool bridge,
                                                     Ptr<Clock> clock, Output& output) {
  if (!bridge) return std::make_unique<PlainApplication>(info, *clock, output);
  if (info.application == Mrp::MrpApplication::mvrp) {
    return std::make_unique<MvrpApplication>(*clock, output);
  }
  return std::make_unique<MsrpApplication>(clock, output);
}

}  // namespace Cli
