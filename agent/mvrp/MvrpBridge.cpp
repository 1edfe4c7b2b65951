#include "agent/mvrp/MvrpBridge.h"

#include <algorithm>

#include "agent/mvrp/VlanInstances.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpStatus.h"
#include "platform/packet/PamDirs.h"

namespace Mrp {
namespace {

constexpr auto kVlanType = static_cast<std::uint8_t>(MvrpAttrType::vlan);
constexpr auto kJoin = MrpThreePackedEvent::joinIn;

constexpr bool forwards(Stp::Role role) {
  return role == Stp::Role::root || role == Stp::Role::designated;
}

}  // namespace

struct MvrpBridge::Port {
  explicit Port(IntfId of) : intf(of) {}

  IntfId intf;
  bool open = false;    // its endpoint is there
  VlanSet forwards;     // none while the port is not open
  VlanSet registered;   // by the engine
  VlanSet contributes;  // registered or fixed, and forwarded: what the other ports declare
  VlanSet declared;     // requested from the engine
  VlanSet fixed, forbidden, always;  // settings
};

MvrpBridge::MvrpBridge() {
  applicationIs(MrpApplication::mvrp);
  applicationMacAddrIs(EthAddr::fromNumber(0x0180C2000021));
  applicationEtypeIs(0x88F5);
  hasNotificationActiveIs(true);
}

MvrpBridge::~MvrpBridge() = default;

// Watching begins after the engine's own: it has flushed, or has opened the port, by the time the
// bridge hears of it. Nothing is requested until every port's part is known, so that what is
// declared already and stays wanted is left alone.
void MvrpBridge::start() {
  starting_ = true;
  contributors_ = {};
  ports_.walk([](IntfId, const std::unique_ptr<Port>& port) {
    port->open = false;
    port->forwards = port->contributes = port->registered = port->declared = {};
  });
  pamReactor_.watch<&MvrpBridge::handlePam>(engine()->endpoints().onPam(), this);
  const auto& stp = engine()->inputs().stpStatus;
  roles_.reset();
  if (stp) {
    Stp::RoleWatcher::Listener& listener = *this;
    roles_ = std::make_unique<Stp::RoleWatcher>(listener, Stp::RoleWatcher::Gone::tellNone);
    roles_->watch(*stp);
  }
  ports_.walk([this](IntfId intf, const std::unique_ptr<Port>&) { handlePam(intf); });
  ports_.walk([this](IntfId, const std::unique_ptr<Port>& port) {
    VlanSet::all().walk([&](std::uint16_t vlan) { contributes(*port, vlan); });
  });
  starting_ = false;
  VlanSet::all().walk([this](std::uint16_t vlan) { settleAll(vlan, kJoin); });
}

MvrpBridge::Port* MvrpBridge::port(IntfId intf) const {
  const std::unique_ptr<Port>* port = ports_.find(intf);
  return port ? port->get() : nullptr;
}

// --- Ports ---------------------------------------------------------------------------------------

void MvrpBridge::portIs(IntfId intf) {
  if (ports_.has(intf)) return;
  ports_.is(intf) = std::make_unique<Port>(intf);
  mrpInterfaceEnable(intf);
  handlePam(intf);  // an endpoint that was open before
}

// The leaves that this causes are pending when the port is disabled, which sends them.
void MvrpBridge::portDel(IntfId intf) {
  Port* gone = port(intf);
  if (!gone) return;
  forward(*gone, VlanSet::all(), false);
  mrpInterfaceDisable(intf);
  close(*gone);
  ports_.del(intf);
}

void MvrpBridge::handlePam(IntfId intf) {
  Port* const p = port(intf);
  if (!p || !engine()) return;
  const bool isOpen = engine()->active() && engine()->endpoints().pam(intf);
  if (isOpen == p->open) return;
  isOpen ? open(*p) : close(*p);
}

void MvrpBridge::open(Port& port) {
  port.open = true;
  readRecords(port);
  if (!roles_ || engine()->inputs().stpStatus->mode() == Stp::Mode::none) {
    askNeighbour(port);
    forward(port, VlanSet::all(), true);
  } else {
    roles_->repeat(port.intf.name());
    review(port, VlanSet::all());  // records of an earlier engine, on a port without a role
  }
}

// Nothing ages out on a port without an endpoint, and what waits to be sent is out of date when
// there is one again.
void MvrpBridge::close(Port& port) {
  if (!port.open) return;
  port.open = false;
  mrpTxPacketContextDel(port.intf);
  mrpTxSecondPacketContextDel(port.intf);
  mrpCleanUpIntfDatabase(port.intf);
  readRecords(port);
  forward(port, VlanSet::all(), false);
}

// A change of role in the instance that governs the port makes the engine flush its registrations,
// of which it tells nobody, or doubt all of them. So the records are read again, and a neighbour is
// asked for its declarations rather than waited for.
void MvrpBridge::handleRole(const std::string&, const std::string& msti, const std::string& name,
                            Stp::Role role) {
  const IntfId intf(name);
  Port* const p = port(intf);
  if (!p || !p->open || !engine() || engine()->inputs().stpStatus->mode() == Stp::Mode::none)
    return;
  const VlanSet vlans =
      vlansOfInstance(msti, engine()->inputs().stpStatus->mode(), *engine()->inputs().brConfig,
                      engine()->inputs().brTopoConfig.get());
  if (baseSpanningTreeTopo(intf) != msti) return forward(*p, vlans, forwards(role));
  readRecords(*p);
  if (forwards(role) && !(vlans - p->forwards).empty()) askNeighbour(*p);
  p->forwards = forwards(role) ? p->forwards | vlans : p->forwards - vlans;
  review(*p, VlanSet::all());
}

void MvrpBridge::forward(Port& port, const VlanSet& vlans, bool forwards) {
  port.forwards = forwards ? port.forwards | vlans : port.forwards - vlans;
  review(port, vlans);
}

void MvrpBridge::readRecords(Port& port) {
  port.registered = port.declared = {};
  if (!engine()->active()) return;
  engine()->walkRecords(port.intf, kVlanType, [&port](const MrpAttrDatabase& record) {
    if (!VlanSet::valid(record.attributeKey())) return;
    const auto vlan = static_cast<std::uint16_t>(record.attributeKey());
    port.registered.put(vlan, record.registrarState() != MrpRegistrarState::mt);
    port.declared.put(vlan, declares(record.applicantState()));
  });
}

void MvrpBridge::askNeighbour(const Port& port) {
  if (engine() && engine()->active()) engine()->sendLeaveAll(port.intf);
}

// --- Propagation ---------------------------------------------------------------------------------

bool MvrpBridge::mrpJoinIndication(const MrpParameters& parameters) {
  const std::uint16_t vlan = mvrpVlanVectorRx().vlanId;
  if (!VlanSet::valid(vlan)) return true;
  Port* const p = port(parameters.intfId);
  if (!p) return false;
  if (p->forbidden.has(vlan)) return true;
  p->registered.put(vlan, true);
  const bool isNew =
      parameters.attributeEvent == static_cast<std::uint8_t>(MrpThreePackedEvent::newEvent);
  contribute(*p, vlan, isNew ? MrpThreePackedEvent::newEvent : kJoin);
  return false;
}

void MvrpBridge::mrpLeaveIndication(const MrpParameters& parameters) {
  const std::uint16_t vlan = mvrpVlanVectorRx().vlanId;
  Port* const p = port(parameters.intfId);
  if (!p) return;
  p->registered.put(vlan, false);
  contribute(*p, vlan, kJoin);
}

void MvrpBridge::review(Port& port, const VlanSet& vlans) {
  if (starting_) return;
  vlans.walk([&](std::uint16_t vlan) {
    contribute(port, vlan, kJoin);
    settle(port, vlan, kJoin);
  });
}

// From the third contributor on, one more or less makes no difference to any port.
void MvrpBridge::contribute(Port& port, std::uint16_t vlan, MrpThreePackedEvent join) {
  const std::uint32_t before = contributors_[vlan];
  if (!contributes(port, vlan)) return;
  if (std::min(before, contributors_[vlan]) <= 1) settleAll(vlan, join);
}

bool MvrpBridge::contributes(Port& port, std::uint16_t vlan) {
  const bool now = port.forwards.has(vlan) && (port.registered.has(vlan) || port.fixed.has(vlan));
  if (now == port.contributes.has(vlan)) return false;
  port.contributes.put(vlan, now);
  now ? ++contributors_[vlan] : --contributors_[vlan];
  return true;
}

void MvrpBridge::settleAll(std::uint16_t vlan, MrpThreePackedEvent join) {
  ports_.walk([&](IntfId, const std::unique_ptr<Port>& port) { settle(*port, vlan, join); });
}

void MvrpBridge::settle(Port& port, std::uint16_t vlan, MrpThreePackedEvent join) {
  if (!port.open) return;
  const std::uint32_t others = contributors_[vlan] - (port.contributes.has(vlan) ? 1 : 0);
  const bool wanted =
      port.forwards.has(vlan) && (others > 0 || always_.has(vlan) || port.always.has(vlan));
  if (wanted == port.declared.has(vlan)) return;
  port.declared.put(vlan, wanted);
  request(port.intf, vlan, static_cast<std::uint8_t>(wanted ? join : MrpThreePackedEvent::lv));
}

void MvrpBridge::request(IntfId intf, std::uint16_t vlan, std::uint8_t event) {
  mvrpVlanVectorTx().vlanId = vlan;
  mrpOutIntfQueueEnq(intf);
  mrpSendAttribute({.intfId = intf, .attributeType = kVlanType, .attributeEvent = event});
}

// --- Settings ------------------------------------------------------------------------------------

void MvrpBridge::declarationIs(Platform::VlanId vlan, bool declared) {
  always_.put(vlan.value(), declared);
  settleAll(vlan.value(), kJoin);
}

void MvrpBridge::declarationIs(IntfId intf, Platform::VlanId vlan, bool declared) {
  Port* const p = port(intf);
  if (!p) return;
  p->always.put(vlan.value(), declared);
  settle(*p, vlan.value(), kJoin);
}

void MvrpBridge::registrationIs(IntfId intf, Platform::VlanId vlan, Registration registration) {
  Port* const p = port(intf);
  if (p && registrationIs(*p, vlan.value(), registration)) askNeighbour(*p);
}

void MvrpBridge::registrationIs(IntfId intf, Registration registration) {
  registrationIs(intf, VlanSet::all(), registration);
}

void MvrpBridge::registrationIs(IntfId intf, const VlanSet& vlans, Registration registration) {
  Port* const p = port(intf);
  if (!p) return;
  bool ask = false;
  vlans.walk([&](std::uint16_t vlan) { ask |= registrationIs(*p, vlan, registration); });
  if (ask) askNeighbour(*p);
}

// A registration that is forbidden ends in the engine, too; what is declared is declared again.
// True when the neighbour has to be asked, since what it declared meanwhile was discarded.
bool MvrpBridge::registrationIs(Port& port, std::uint16_t vlan, Registration registration) {
  const bool forbid = registration == Registration::forbidden;
  const bool allowed = port.forbidden.has(vlan) && !forbid;
  port.fixed.put(vlan, registration == Registration::fixed);
  port.forbidden.put(vlan, forbid);
  if (forbid && port.registered.has(vlan)) {
    port.registered.put(vlan, false);
    port.declared.put(vlan, false);
    request(port.intf, vlan, kInternalLeaveEvent);
  }
  contribute(port, vlan, kJoin);
  settle(port, vlan, kJoin);
  return allowed && port.open;
}

VlanSet MvrpBridge::registered(IntfId intf) const {
  const Port* const p = port(intf);
  return p ? p->contributes : VlanSet();
}

VlanSet MvrpBridge::declared(IntfId intf) const {
  const Port* const p = port(intf);
  return p ? p->declared : VlanSet();
}

}  // namespace Mrp
