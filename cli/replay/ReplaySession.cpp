#include "cli/replay/ReplaySession.h"

#include <algorithm>
#include <map>

namespace Cli {

using Platform::EthAddr;
using Platform::IntfId;
using Platform::makePtr;
using Platform::Seconds;
using Platform::Value;

namespace {

// Port n, from 1, has the bridge's address with n in the last two octets.
constexpr std::uint64_t kBridgeAddress = 0x020000000000;
constexpr std::uint64_t kPorts = 0xffff;
constexpr Seconds kAfterLastInput{1.0};

using Mrp::Accounts::Setting;
using Mrp::Accounts::Verb;
using Scope = Mrp::Accounts::Account::Scope;

Verb verbOf(std::uint8_t event) {
  switch (event) {
    case static_cast<std::uint8_t>(Mrp::MrpThreePackedEvent::lv):
      return Verb::withdraw;
    case Mrp::kLeaveAllEvent:
      return Verb::leaveAll;
    case Mrp::kInternalLeaveEvent:
      return Verb::remove;
    default:
      return Verb::declare;
  }
}

}  // namespace

void ReplaySession::Outputs::indication(Seconds time, const Indication& indication) {
  for (Output* output : all_) output->indication(time, indication);
}

void ReplaySession::Outputs::transmitted(Seconds time, const std::string& port, OctetSpan frame) {
  for (Output* output : all_) output->transmitted(time, port, frame);
}

void ReplaySession::Outputs::logged(Seconds time, std::string_view handle, std::string_view text) {
  for (Output* output : all_) output->logged(time, handle, text);
}

void ReplaySession::Outputs::reserved(Seconds time, const Mrp::ReservationState& state) {
  for (Output* output : all_) output->reserved(time, state);
}

void ReplaySession::Outputs::sloped(Seconds time, const Mrp::SlopeState& state) {
  for (Output* output : all_) output->sloped(time, state);
}

void ReplaySession::Outputs::bounded(Seconds time, const Mrp::BoundaryState& state, bool on) {
  for (Output* output : all_) output->bounded(time, state, on);
}

void ReplaySession::Outputs::finished(Seconds time, const FinalState& state) {
  for (Output* output : all_) output->finished(time, state);
}

ReplaySession::ReplaySession(const Inputs& inputs, const ReplayOptions& options,
                             std::span<Output* const> outputs)
    : inputs_(inputs),
      until_(options.until),
      output_(outputs),
      clock_(makePtr<Platform::Embedded::VirtualClock>()),
      account_(*clock_, options.records),
      numbers_(account_),
      recorder_(&numbers_, &account_),
      observers_(options.records > 0 ? &recorder_ : nullptr, options.observer),
      bridge_(options.bridge),
      switch_(clock_),
      config_(makePtr<Mrp::MrpConfig>()),
      status_(makePtr<Mrp::MrpStatus>()),
      application_(replayApplication(infoOf(inputs.application), options.bridge, clock_, output_)) {
  config_->leaveTimeIs(options.leaveTime);
  config_->leaveAllTimeIs(options.leaveAllTime);
  config_->recommendedLimitsAre();
  switch_.bridgingConfig()->bridgeMacAddrIs(EthAddr::fromNumber(kBridgeAddress));
  listen(options);
  createPorts();
  if (options.bridge) designatePorts();
  preload();
  createEngine(options.standby);
  if (options.records > 0 || options.observer) engine_->observerIs(&observers_);
  application_->accountIs(options.records > 0 ? &account_ : nullptr);
  application_->start();
  enablePorts();
}

ReplaySession::~ReplaySession() = default;

void ReplaySession::listen(const ReplayOptions& options) {
  switch_.onTransmit([this](IntfId intf, const Platform::Pkt& pkt) {
    output_.transmitted(clock_->now(), intf.name(), pkt.octets());
  });
  switch_.eventLog().sinkIs([this](const Platform::Host::EventLogRecorder::Message& message) {
    output_.logged(clock_->now(), message.handle, message.text);
  });
  if (!options.trace) return;
  switch_.trace().levelIs(options.traceLevel);
  switch_.trace().sinkAdd([this, trace = options.trace](const Platform::Trace::Entry& entry) {
    trace(clock_->now(), entry);
  });
}

void ReplaySession::createPorts() {
  std::uint64_t number = 0;
  for (const std::string& port : inputs_.ports) {
    number = number % kPorts + 1;
    switch_.portIs(port, EthAddr::fromNumber(kBridgeAddress + number));
  }
}

// Of the spanning tree that the inputs name, so that a role that they give a port is its role.
void ReplaySession::designatePorts() {
  std::string stp = "stp";
  for (const Action& action : inputs_.actions) {
    if (const auto* role = std::get_if<RoleAction>(&action.what)) {
      stp = role->stp;
      break;
    }
  }
  for (const std::string& port : inputs_.ports) {
    act(RoleAction{stp, Stp::kCist, port,
                   static_cast<std::uint32_t>(Stp::MstiPortStatus::Role::designated)});
  }
}

void ReplaySession::preload() {
  Mrp::MrpApplicationDatabase& database = status_->applicationIs(inputs_.application);
  for (const AttributeState& attribute : inputs_.status) {
    Mrp::MrpAttrDatabase& record = database.attrDatabaseIs(IntfId(attribute.port))
                                       .intfTypeApplicantIs(attribute.type)
                                       .mrpAttributeIs(attribute.key);
    record.applicantStateIs(attribute.applicant);
    record.registrarStateIs(attribute.registrar);
    record.valueIs(attribute.value);
  }
}

void ReplaySession::createEngine(bool standby) {
  engine_ = Mrp::engineFactory({.brConfig = switch_.bridgingConfig(),
                                .mrpLib = &application_->lib(),
                                .mrpConfig = config_,
                                .mrpStatus = status_,
                                .stpStatus = switch_.stpStatus(),
                                .brTopoConfig = switch_.bridgingTopologyConfig(),
                                .ethPhyIntfStatusDir = switch_.ethPhyIntfStatusDir(),
                                .entityManager = switch_.stateDatabase(),
                                .standbyMode = standby});
}

// All ports but those that an input enables before any disables them.
void ReplaySession::enablePorts() {
  std::map<std::string, bool> first;
  for (const Action& action : inputs_.actions) {
    const auto* enable = std::get_if<EnableAction>(&action.what);
    if (enable) first.emplace(enable->port, enable->enable);
  }
  for (const std::string& port : inputs_.ports) {
    const auto found = first.find(port);
    const bool waits = found != first.end() && found->second;
    application_->portIs(IntfId(port), !waits);
  }
}

Seconds ReplaySession::endOfRun() const {
  if (until_) return *until_;
  return inputs_.actions.empty() ? kAfterLastInput
                                 : std::max(inputs_.actions.back().at, Seconds()) + kAfterLastInput;
}

void ReplaySession::run() {
  const Seconds end = endOfRun();
  for (const Action& action : inputs_.actions) {
    if (action.at > end) break;
    // Everything due by then comes first, what an action at this very instant made due included.
    clock_->runUntil(std::max(action.at, clock_->now()));
    line_ = action.number;
    std::visit([this](const auto& what) { act(what); }, action.what);
  }
  clock_->runUntil(end);
  FinalState state = finalStateOf(*engine_);
  state.bridge = application_->state(inputs_.ports);
  output_.finished(clock_->now(), state);
}

Mrp::Why::Sources ReplaySession::sources() const {
  Mrp::Why::Sources sources{.account = account_, .engine = *engine_, .ports = {}};
  for (const std::string& port : inputs_.ports) sources.ports.emplace_back(port);
  sources.registration = [this](IntfId intf, std::uint16_t vlan) {
    return application_->registration(intf, vlan);
  };
  sources.streams = application_->streams();
  return sources;
}

void ReplaySession::act(const FrameAction& action) {
  numbers_.comes(IntfId(action.port), line_, action.octets);
  switch_.receive(IntfId(action.port), action.octets, action.unread);
}

void ReplaySession::act(const RequestAction& action) {
  if (!engine_->active()) return;
  Mrp::MrpLib& lib = application_->lib();
  if (action.value) std::ranges::copy(*action.value, lib.txImage(action.type).begin());
  const auto send = [&](IntfId port) {
    const Mrp::MrpAttribute attribute{port, action.type, lib.values().txKey(action.type)};
    const Scope because(account_, account_.request(verbOf(action.event), attribute, requester()));
    lib.mrpSendAttribute({port, action.type, action.event});
  };
  for (const std::string& port : action.ports) {
    lib.mrpOutIntfQueueEnq(IntfId(port));
    if (!action.port) send(IntfId(port));
  }
  if (action.port) send(IntfId(*action.port));
}

void ReplaySession::act(const EnableAction& action) {
  const Scope because(account_, account_.setting(Setting::portEnabled, IntfId(action.port),
                                                 action.enable, requester()));
  using Mrp::Accounts::PortChange;
  const Scope change(
      account_,
      bridge_ ? 0
              : account_.portChanged(IntfId(action.port),
                                     action.enable ? PortChange::enabled : PortChange::disabled));
  application_->enabledIs(IntfId(action.port), action.enable);
}

void ReplaySession::act(const LeaveAllAction& action) {
  const IntfId intf(action.port);
  const Scope because(account_, account_.request(Verb::leaveAll, {intf, 0, 0}, requester()));
  if (engine_->active() && engine_->endpoints().pam(intf)) engine_->sendLeaveAll(intf);
}

void ReplaySession::act(const RoleAction& action) {
  // A port that is new to the instance appears in its role.
  auto port = Platform::makePtr<Stp::MstiPortStatus>();
  const Stp::MstiPortStatus::Role role{action.role};
  const Scope because(account_,
                      account_.role(IntfId(action.port), static_cast<std::uint8_t>(action.role)));
  port->roleIs(role);
  switch_.stpStatus()
      ->childIs(action.stp)
      .childIs(action.mst)
      .childIs(action.port, port)
      .roleIs(role);
}

void ReplaySession::act(const ConfigAction& action) {
  const Scope because(
      account_, account_.setting(Setting::other, IntfId(action.port.value_or("")), 0, requester()));
  if (!action.port) {
    Platform::attributeValueIs(config_->describe(), action.field, *action.value);
    return;
  }
  const IntfId intf(*action.port);
  const bool leave = action.field == "intfLeaveTime";
  if (action.value) {
    const Seconds time(*action.value->as<double>());
    leave ? config_->intfLeaveTimeIs(intf, time) : config_->intfLeaveAllTimeIs(intf, time);
  } else {
    leave ? config_->intfLeaveTimeDel(intf) : config_->intfLeaveAllTimeDel(intf);
  }
}

void ReplaySession::act(const SwitchAction& action) {
  switch (action.what) {
    case SwitchAction::What::flood:
      status_->floodIs(action.on);
      return;
    case SwitchAction::What::recycled:
      Platform::attributeValueIs(engine_->describe(), "recycledPkt", Value(action.on));
      return;
    case SwitchAction::What::joinDiscard:
      application_->joinDiscardIs(action.on);
      return;
  }
}

void ReplaySession::act(const ClogAction& action) {
  switch_.attrLog().queueOctetsIs(static_cast<std::size_t>(action.octets));
}

void ReplaySession::act(const ActivateAction&) {
  if (engine_->active()) return;
  const Scope because(account_, account_.activated());
  engine_->activate();
  application_->start();
}

}  // namespace Cli
