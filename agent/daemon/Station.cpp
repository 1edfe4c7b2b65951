#include "agent/daemon/Station.h"

#include <algorithm>
#include <set>

#include "agent/daemon/Monitor.h"
#include "agent/daemon/Values.h"
#include "mrp/types/MrpAttrDatabase.h"
#include "mrp/types/MrpStatus.h"

namespace Daemon {
namespace {

using Mrp::MrpThreePackedEvent;

constexpr auto kVlanType = static_cast<std::uint8_t>(Mrp::MvrpAttrType::vlan);
constexpr std::uint8_t kLastType = 4;
constexpr auto kLeave = static_cast<std::uint8_t>(MrpThreePackedEvent::lv);

}  // namespace

Station::Station(Mrp::MrpApplication application, Teller teller) : teller_(std::move(teller)) {
  identityIs(Mrp::applicationInfo(application));
  hasNotificationActiveIs(true);
}

Station::~Station() = default;

// The engine has opened the port by the time this hears of it.
void Station::start() {
  pamReactor_.watch<&Station::handlePam>(engine()->endpoints().onPam(), this);
  ports_.walk([this](IntfId intf, Port& port) {
    port.open = false;
    handlePam(intf);
  });
}

void Station::portIs(IntfId intf) {
  if (ports_.has(intf)) return;
  ports_.is(intf);
  everywhere_.walk(
      [&](std::uint16_t vlan) { declarationIs(intf, kVlanType, vlanImage(vlan), true); });
  mrpInterfaceEnable(intf);
  handlePam(intf);
}

void Station::portDel(IntfId intf) {
  Port* const port = ports_.find(intf);
  if (!port) return;
  port->wanted.clear();
  if (port->open) settle(intf, *port);
  mrpInterfaceDisable(intf);
  close(intf, *port);
  ports_.del(intf);
}

void Station::handlePam(IntfId intf) {
  Port* const port = ports_.find(intf);
  if (!port || !engine()) return;
  const bool isOpen = engine()->active() && engine()->endpoints().pam(intf);
  if (isOpen == port->open) return;
  isOpen ? open(intf, *port) : close(intf, *port);
}

Mrp::Accounts::Because Station::changed(IntfId intf, Mrp::Accounts::PortChange change) const {
  return Mrp::Accounts::because(
      account_, [&](Mrp::Accounts::Account& a) { return a.portChanged(intf, change); });
}

void Station::open(IntfId intf, Port& port) {
  const auto because = changed(intf, Mrp::Accounts::PortChange::opened);
  port.open = true;
  settle(intf, port);
}

// Nothing ages out on a port without an endpoint, and what waits to be sent is out of date when
// there is one again.
void Station::close(IntfId intf, Port& port) {
  if (!port.open) return;
  const auto because = changed(intf, Mrp::Accounts::PortChange::closed);
  port.open = false;
  mrpTxPacketContextDel(intf);
  mrpTxSecondPacketContextDel(intf);
  mrpCleanUpIntfDatabase(intf);
}

void Station::settle(IntfId intf, Port& port) {
  std::set<std::pair<std::uint8_t, std::uint64_t>> declared;
  for (std::uint8_t type = 1; type <= kLastType; ++type) {
    if (txImage(type).empty()) continue;
    engine()->walkRecords(intf, type, [&](const Mrp::MrpAttrDatabase& record) {
      if (!declares(record.applicantState())) return;
      const auto wanted = port.wanted.find({type, record.attributeKey()});
      if (wanted == port.wanted.end()) {
        const Image image(record.value().begin(), record.value().end());
        request(intf, type, image, kLeave);
      } else if (std::ranges::equal(wanted->second, record.value())) {
        declared.insert(wanted->first);
      }
    });
  }
  const auto wanted = port.wanted;  // a request may call back
  for (const auto& [id, image] : wanted) {
    if (declared.contains(id)) continue;
    const auto join = id.first == kVlanType && application() == Mrp::MrpApplication::mvrp
                          ? MrpThreePackedEvent::joinIn
                          : MrpThreePackedEvent::newEvent;
    request(intf, id.first, image, static_cast<std::uint8_t>(join));
  }
}

void Station::request(IntfId intf, std::uint8_t type, std::span<const std::uint8_t> image,
                      std::uint8_t event) {
  const auto slot = txImage(type);
  if (slot.empty() || image.size() != slot.size()) return;
  std::ranges::copy(image, slot.begin());
  mrpOutIntfQueueEnq(intf);
  mrpSendAttribute({.intfId = intf, .attributeType = type, .attributeEvent = event});
}

void Station::declarationIs(IntfId intf, std::uint8_t type, std::span<const std::uint8_t> image,
                            bool declared) {
  Port* const port = ports_.find(intf);
  if (!port) return;
  const std::pair id{type, keyOfImage(application(), type, image)};
  if (declared) {
    Image& wanted = port->wanted[id];
    if (std::ranges::equal(wanted, image)) return;
    wanted.assign(image.begin(), image.end());
  } else if (port->wanted.erase(id) == 0) {
    return;
  }
  if (!port->open) return;
  const bool vlan = application() == Mrp::MrpApplication::mvrp;
  const auto join = vlan ? MrpThreePackedEvent::joinIn : MrpThreePackedEvent::newEvent;
  request(intf, type, image, declared ? static_cast<std::uint8_t>(join) : kLeave);
}

void Station::everywhereIs(const Mrp::VlanSet& vlans, bool declared) {
  everywhere_ = declared ? everywhere_ | vlans : everywhere_ - vlans;
  ports_.walk([&](IntfId intf, Port&) {
    vlans.walk(
        [&](std::uint16_t vlan) { declarationIs(intf, kVlanType, vlanImage(vlan), declared); });
  });
}

// A registration that is forbidden ends in the engine, too; what is declared is declared again.
void Station::registrationIs(IntfId intf, const Mrp::VlanSet& vlans,
                             Mrp::Registration registration) {
  Port* const port = ports_.find(intf);
  if (!port) return;
  bool allowed = false;
  vlans.walk([&](std::uint16_t vlan) {
    const bool forbid = registration == Mrp::Registration::forbidden;
    const bool was = port->forbidden.has(vlan);
    port->forbidden.put(vlan, forbid);
    allowed |= was && !forbid;
    if (!forbid || was || !port->open) return;
    request(intf, kVlanType, vlanImage(vlan), Mrp::kInternalLeaveEvent);
    if (port->wanted.contains({kVlanType, vlan})) {
      request(intf, kVlanType, vlanImage(vlan),
              static_cast<std::uint8_t>(MrpThreePackedEvent::joinIn));
    }
  });
  // What the neighbour declared meanwhile was discarded.
  if (allowed && port->open) engine()->sendLeaveAll(intf);
}

bool Station::mrpJoinIndication(const Mrp::MrpParameters& parameters) {
  teller_(true, parameters);
  if (application() != Mrp::MrpApplication::mvrp) return false;
  const std::uint16_t vlan = mvrpVlanVectorRx().vlanId;
  const Port* const port = ports_.find(parameters.intfId);
  return !Mrp::VlanSet::valid(vlan) || (port && port->forbidden.has(vlan));
}

void Station::mrpLeaveIndication(const Mrp::MrpParameters& parameters) {
  teller_(false, parameters);
}

}  // namespace Daemon
