#include "agent/mvrp/MvrpBridge.h"

#include <algorithm>

#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpAttrDatabase.h"

namespace Mrp {
namespace {

constexpr auto kVlanType = static_cast<std::uint8_t>(MvrpAttrType::vlan);
constexpr auto kJoin = MrpThreePackedEvent::joinIn;

}  // namespace

struct MvrpBridge::Port {
  explicit Port(const Member& of) : member(of) {}

  const Member& member;
  VlanSet registered;   // by the engine
  VlanSet contributes;  // registered or fixed, and forwarded: what the other ports declare
  VlanSet declared;     // requested from the engine
  VlanSet fixed, forbidden, always;  // settings
};

MvrpBridge::MvrpBridge() {
  identityIs(applicationInfo(MrpApplication::mvrp));
  hasNotificationActiveIs(true);
}

MvrpBridge::~MvrpBridge() = default;

MvrpBridge::Port* MvrpBridge::port(IntfId intf) const { return ports_.find(intf); }

// --- Ports ---------------------------------------------------------------------------------------

void MvrpBridge::handleMember(const Member& member, bool there) {
  if (there) {
    ports_.is(member.intf, member);
  } else {
    ports_.del(member.intf);
  }
}

void MvrpBridge::handleStart() {
  contributors_ = {};
  ports_.walk([](IntfId, Port& port) { port.contributes = port.registered = port.declared = {}; });
  changed_ = VlanSet::all();
}

void MvrpBridge::readRecords(const Member& member) {
  Port& p = *port(member.intf);
  p.registered = p.declared = {};
  if (!engine()->active()) return;
  engine()->walkRecords(member.intf, kVlanType, [&p](const MrpAttrDatabase& record) {
    if (!VlanSet::valid(record.attributeKey())) return;
    const auto vlan = static_cast<std::uint16_t>(record.attributeKey());
    p.registered.put(vlan, record.registrarState() != MrpRegistrarState::mt);
    p.declared.put(vlan, declares(record.applicantState()));
  });
}

void MvrpBridge::handleForwards(const Member& member, const VlanSet& vlans) {
  changed_ |= vlans;
  new_ -= vlans;
  vlans.walk([&](std::uint16_t vlan) { contributes(*port(member.intf), vlan); });
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

// From the third contributor on, one more or less makes no difference to any port.
void MvrpBridge::contribute(Port& port, std::uint16_t vlan, MrpThreePackedEvent join) {
  const std::uint32_t before = contributors_[vlan];
  if (!contributes(port, vlan)) return;
  if (std::min(before, contributors_[vlan]) <= 1) settleAll(vlan, join);
}

bool MvrpBridge::contributes(Port& port, std::uint16_t vlan) {
  const bool now =
      port.member.forwards.has(vlan) && (port.registered.has(vlan) || port.fixed.has(vlan));
  if (now == port.contributes.has(vlan)) return false;
  port.contributes.put(vlan, now);
  now ? ++contributors_[vlan] : --contributors_[vlan];
  if (account()) account()->contribution({port.member.intf, kVlanType, vlan}, now);
  return true;
}

// A frame's VLANs are declared port by port at its end: that writes each packet in one go.
void MvrpBridge::settleAll(std::uint16_t vlan, MrpThreePackedEvent join) {
  if (settlesLater()) {
    changed_.put(vlan, true);
    new_.put(vlan, join == MrpThreePackedEvent::newEvent);
    return;
  }
  ports_.walk([&](IntfId, Port& port) { settle(port, vlan, join); });
}

// What is withdrawn goes first: it needs both packets of the port sent at most once.
void MvrpBridge::settle() {
  if (changed_.empty()) return;
  const VlanSet vlans = changed_;
  const VlanSet asNew = new_;
  changed_.clear();
  new_.clear();
  ports_.walk([&](IntfId, Port& port) {
    const VlanSet added = vlans - port.declared;
    (vlans - added).walk([&](std::uint16_t vlan) { settle(port, vlan, kJoin); });
    added.walk([&](std::uint16_t vlan) {
      settle(port, vlan, asNew.has(vlan) ? MrpThreePackedEvent::newEvent : kJoin);
    });
  });
}

bool MvrpBridge::wants(const Port& port, std::uint16_t vlan) const {
  const std::uint32_t others = contributors_[vlan] - (port.contributes.has(vlan) ? 1 : 0);
  return port.member.forwards.has(vlan) &&
         (others > 0 || always_.has(vlan) || port.always.has(vlan));
}

void MvrpBridge::settle(Port& port, std::uint16_t vlan, MrpThreePackedEvent join) {
  if (!port.member.open) return;
  const bool wanted = wants(port, vlan);
  if (wanted == port.declared.has(vlan)) return;
  port.declared.put(vlan, wanted);
  const MrpAttribute attribute{port.member.intf, kVlanType, vlan};
  const auto because = Accounts::because(
      account(), [&](Accounts::Account& a) { return a.propagation(attribute, wanted); });
  if (!wanted) sendWhatIsOpen(port.member.intf);
  requestVlan(port.member.intf, vlan,
              static_cast<std::uint8_t>(wanted ? join : MrpThreePackedEvent::lv));
}

void MvrpBridge::requestVlan(IntfId intf, std::uint16_t vlan, std::uint8_t event) {
  mvrpVlanVectorTx().vlanId = vlan;
  request(intf, kVlanType, event);
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
  if (p && registrationIs(*p, vlan.value(), registration)) askNeighbour(p->member.intf);
}

void MvrpBridge::registrationIs(IntfId intf, Registration registration) {
  registrationIs(intf, VlanSet::all(), registration);
}

void MvrpBridge::registrationIs(IntfId intf, const VlanSet& vlans, Registration registration) {
  Port* const p = port(intf);
  if (!p) return;
  bool ask = false;
  vlans.walk([&](std::uint16_t vlan) { ask |= registrationIs(*p, vlan, registration); });
  if (ask) askNeighbour(p->member.intf);
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
    const auto because = Accounts::because(account(), [&](Accounts::Account& a) {
      return a.request(Accounts::Verb::remove, {port.member.intf, kVlanType, vlan}, {});
    });
    requestVlan(port.member.intf, vlan, kInternalLeaveEvent);
  }
  contribute(port, vlan, kJoin);
  settle(port, vlan, kJoin);
  return allowed && port.member.open;
}

Registration MvrpBridge::registration(IntfId intf, std::uint16_t vlan) const {
  const Port* const p = port(intf);
  if (p && p->fixed.has(vlan)) return Registration::fixed;
  return p && p->forbidden.has(vlan) ? Registration::forbidden : Registration::normal;
}

VlanSet MvrpBridge::registered(IntfId intf) const {
  const Port* const p = port(intf);
  return p ? p->contributes : VlanSet();
}

VlanSet MvrpBridge::registrations(IntfId intf) const {
  const Port* const p = port(intf);
  return p ? p->registered | p->fixed : VlanSet();
}

VlanSet MvrpBridge::declared(IntfId intf) const {
  const Port* const p = port(intf);
  return p ? p->declared : VlanSet();
}

}  // namespace Mrp
