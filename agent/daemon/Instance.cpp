#include "agent/daemon/Instance.h"

#include "agent/daemon/BridgeApplication.h"
#include "agent/daemon/Station.h"
#include "agent/daemon/Values.h"
#include "agent/daemon/streams/StreamApplication.h"
#include "mrp/types/MrpAttrDatabase.h"

namespace Daemon {
namespace {

using Mrp::MrpApplication;
using Mrp::VlanSet;
using Mrp::Accounts::Verb;

constexpr auto kVlanType = static_cast<std::uint8_t>(Mrp::MvrpAttrType::vlan);

Verb verbOf(Mrp::Registration registration) {
  switch (registration) {
    case Mrp::Registration::fixed:
      return Verb::fixed;
    case Mrp::Registration::forbidden:
      return Verb::forbidden;
    case Mrp::Registration::normal:
      break;
  }
  return Verb::normal;
}

}  // namespace

Instance::Instance(MrpApplication application, bool bridge, bool roles, const Surroundings& around)
    : application_(application),
      bridge_(bridge),
      listener_(around.listener),
      monitor_(*this),
      recorder_(around.recording, *around.host.clock(), application),
      config_(Platform::makePtr<Mrp::MrpConfig>()),
      status_(Platform::makePtr<Mrp::MrpStatus>()) {
  // Talkers whose identifiers and addresses are consecutive may differ in all else.
  config_->wholeTalkersInSequenceIs(true);
  const auto tell = [this](bool join, const Mrp::MrpParameters& parameters) {
    listener_.indicated(*this, join, parameters);
  };
  if (bridge && application == MrpApplication::msrp) {
    auto made = Platform::makePtr<StreamApplication>(*around.streams, around.host.clock(), tell);
    app_ = streamApp_ = made.get();
    lib_ = made;
  } else if (bridge) {
    auto made = Platform::makePtr<BridgeApplication>(tell);
    app_ = made.get();
    lib_ = made;
  } else {
    auto made = Platform::makePtr<Station>(application, tell);
    app_ = made.get();
    lib_ = made;
  }
  services_ =
      Platform::makePtr<EngineServices>(around.host.services(application), lib_->applicationEtype(),
                                        static_cast<EngineServices::LogListener&>(*this));
  database_ = Platform::makePtr<Platform::Host::StateDatabase>(services_, name(), "default");
  database_->directoriesAre(around.directories);
  database_->attrLogIs(around.attrLog);
  const auto& dirs = around.directories;
  engine_ = Mrp::engineFactory({.brConfig = dirs.bridgingConfig(),
                                .mrpLib = lib_.get(),
                                .mrpConfig = config_,
                                .mrpStatus = status_,
                                .stpStatus = roles ? dirs.stpStatus() : nullptr,
                                .brTopoConfig = dirs.bridgingTopologyConfig(),
                                .ethPhyIntfStatusDir = dirs.ethPhyIntfStatusDir(),
                                .entityManager = database_,
                                .standbyMode = true});
  engine_->observerIs(recorder_.observer(monitor_));
  app_->accountIs(recorder_.account());
}

// The engine ends before the service object that it works for.
Instance::~Instance() {
  engine_->observerIs(nullptr);
  engine_ = nullptr;
}

const char* Instance::name() const {
  return application_ == MrpApplication::mvrp ? "mvrp" : "msrp";
}

void Instance::activate() {
  if (active()) return;
  const auto because = Mrp::Accounts::because(
      recorder_.account(), [](Mrp::Accounts::Account& a) { return a.activated(); });
  engine_->activate();
  app_->start();
}

// --- Ports ---------------------------------------------------------------------------------------

// Settings come before the port opens where it is new, so that nothing is declared and withdrawn
// again.
void Instance::portIs(IntfId intf, const Settings& settings) {
  const bool isNew = !ports_.has(intf);
  const Settings before = isNew ? Settings() : *ports_.find(intf);
  timesAre(intf, settings);
  ports_.is(intf) = settings;
  if (isNew) app_->portIs(intf);
  registrationsAre(intf, before.registrations, settings.registrations);
  declarationsAre(intf, before, settings);
}

void Instance::portDel(IntfId intf) {
  if (!ports_.del(intf)) return;
  asked_.del(intf);
  app_->portDel(intf);
  monitor_.portDel(intf);
  config_->intfLeaveTimeDel(intf);
  config_->intfLeaveAllTimeDel(intf);
}

bool Instance::askedIs(IntfId intf, bool asked) {
  const bool before = asked_.has(intf);
  if (asked) {
    asked_.is(intf, true);
  } else {
    asked_.del(intf);
  }
  return before;
}

void Instance::timesAre(IntfId intf, const Settings& settings) {
  if (settings.leaveTime) {
    config_->intfLeaveTimeIs(intf, *settings.leaveTime);
  } else {
    config_->intfLeaveTimeDel(intf);
  }
  if (settings.leaveAllTime) {
    config_->intfLeaveAllTimeIs(intf, *settings.leaveAllTime);
  } else {
    config_->intfLeaveAllTimeDel(intf);
  }
}

void Instance::declarationsAre(IntfId intf, const Settings& before, const Settings& now) {
  const auto vlansAre = [&](const VlanSet& vlans, bool declared) {
    vlans.walk([&](std::uint16_t vlan) {
      const auto because =
          recorder_.asked(declared ? Verb::declare : Verb::withdraw, {intf, kVlanType, vlan});
      app_->declarationIs(intf, kVlanType, vlanImage(vlan), declared);
    });
  };
  vlansAre(before.vlans - now.vlans, false);
  vlansAre(now.vlans - before.vlans, true);
  for (const auto& [id, image] : before.others) {
    if (now.others.contains(id)) continue;
    const auto because = recorder_.asked(Verb::withdraw, {intf, id.first, id.second});
    app_->declarationIs(intf, id.first, image, false);
  }
  for (const auto& [id, image] : now.others) {
    const auto was = before.others.find(id);
    if (was != before.others.end() && was->second == image) continue;
    const auto because = recorder_.asked(Verb::declare, {intf, id.first, id.second});
    app_->declarationIs(intf, id.first, image, true);
  }
}

void Instance::registrationsAre(IntfId intf, const RegistrationSets& before,
                                const RegistrationSets& now) {
  const auto are = [&](const VlanSet& vlans, Mrp::Registration registration) {
    if (vlans.empty()) return;
    const auto because = recorder_.asked(verbOf(registration), intf, vlans);
    app_->registrationIs(intf, vlans, registration);
  };
  are(now.forbidden - before.forbidden, Mrp::Registration::forbidden);
  are(now.fixed - before.fixed, Mrp::Registration::fixed);
  are((before.fixed | before.forbidden) - now.fixed - now.forbidden, Mrp::Registration::normal);
}

void Instance::everywhereIs(const VlanSet& vlans) {
  app_->everywhereIs(everywhere_ - vlans, false);
  app_->everywhereIs(vlans - everywhere_, true);
  everywhere_ = vlans;
}

// --- Records -------------------------------------------------------------------------------------

bool Instance::recordIs(IntfId intf, std::uint8_t type, std::uint64_t key, bool declared,
                        bool registered, std::span<const std::uint8_t> value) {
  if (type == 0 || type > types() || value.size() != lib_->txImage(type).size()) return false;
  if (!declared && !registered) return false;
  if (key != keyOfImage(application_, type, value)) return false;
  Mrp::MrpAttrDatabase& record = status_->applicationIs(application_)
                                     .attrDatabaseIs(intf)
                                     .intfTypeApplicantIs(type)
                                     .mrpAttributeIs(key);
  if (recorder_.account()) {
    recorder_.account()->request(Verb::restored, {intf, type, key}, {});
  }
  record.valueIs(value);
  record.registrarStateIs(registered ? Mrp::MrpRegistrarState::in : Mrp::MrpRegistrarState::mt);
  record.applicantStateIs(declared ? Mrp::MrpApplicantState::qa : Mrp::MrpApplicantState::vo);
  return true;
}

const Mrp::MrpAttrDatabase* Instance::record(const Mrp::MrpAttribute& attribute) const {
  const auto* database = status_->application(application_);
  const auto* types =
      database ? database->typeApplicant(attribute.intfId, attribute.attributeType) : nullptr;
  return types ? types->visible(attribute.attributeKey) : nullptr;
}

VlanSet Instance::registered(IntfId intf) const {
  VlanSet vlans;
  if (application_ != MrpApplication::mvrp) return vlans;
  engine_->walkRecords(intf, kVlanType, [&](const Mrp::MrpAttrDatabase& record) {
    if (record.registrarState() == Mrp::MrpRegistrarState::mt) return;
    if (Mrp::VlanSet::valid(record.attributeKey())) {
      vlans.put(static_cast<std::uint16_t>(record.attributeKey()), true);
    }
  });
  return vlans;
}

VlanSet Instance::declared(IntfId intf) const {
  VlanSet vlans;
  if (application_ != MrpApplication::mvrp) return vlans;
  engine_->walkRecords(intf, kVlanType, [&](const Mrp::MrpAttrDatabase& record) {
    if (!declares(record.applicantState())) return;
    if (Mrp::VlanSet::valid(record.attributeKey())) {
      vlans.put(static_cast<std::uint16_t>(record.attributeKey()), true);
    }
  });
  return vlans;
}

}  // namespace Daemon
