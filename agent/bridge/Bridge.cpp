#include "agent/bridge/Bridge.h"

#include "agent/bridge/VlanInstances.h"
#include "mrp/MrpSm/Engine.h"
#include "platform/bridging/BridgingConfig.h"
#include "platform/packet/PamDirs.h"

namespace Mrp {

using Accounts::PortChange;

namespace {

constexpr bool forwarding(Stp::Role role) {
  return role == Stp::Role::root || role == Stp::Role::designated;
}

}  // namespace

class Bridge::Batch {
 public:
  explicit Batch(Bridge& bridge) : bridge_(bridge) { ++bridge_.batches_; }
  ~Batch() {
    if (--bridge_.batches_ == 0 && !bridge_.settlesLater()) bridge_.settle();
  }
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

 private:
  Bridge& bridge_;
};

Bridge::Bridge() = default;
Bridge::~Bridge() = default;

// Watching begins after the engine's own: it has flushed, or has opened the port, by the time the
// bridge hears of it. Nothing is requested until every port's part is known, so that what is
// declared already and stays wanted is left alone.
void Bridge::start() {
  const Batch batch(*this);
  members_.walk([](IntfId, Member& member) {
    member.open = false;
    member.forwards = {};
  });
  handleStart();
  pamReactor_.watch<&Bridge::handlePam>(engine()->endpoints().onPam(), this);
  frameReactor_.watch<&Bridge::handleFrame>(engine()->onFrame(), this);
  const auto& stp = engine()->inputs().stpStatus;
  roles_.reset();
  if (stp) {
    Stp::RoleWatcher::Listener& listener = *this;
    roles_ = std::make_unique<Stp::RoleWatcher>(listener, Stp::RoleWatcher::Gone::tellNone);
    roles_->watch(*stp);
  }
  members_.walk([this](IntfId intf, Member& member) {
    if (member.enabled && !engine()->enabled(intf)) mrpInterfaceEnable(intf);
    handlePam(intf);
  });
}

bool Bridge::settlesLater() const {
  return batches_ > 0 || (engine() && engine()->frameInProgress());
}

void Bridge::handleFrame(IntfId) {
  if (batches_ == 0) settle();
}

// --- Ports ---------------------------------------------------------------------------------------

void Bridge::portIs(IntfId intf, bool enabled) {
  if (members_.has(intf)) return;
  const auto because = portChanged(intf, PortChange::added);
  handleMember(members_.is(intf, intf), true);
  portEnabledIs(intf, enabled);
}

void Bridge::portDel(IntfId intf) {
  if (!member(intf)) return;
  const auto because = portChanged(intf, PortChange::removed);
  portEnabledIs(intf, false);
  handleMember(*member(intf), false);
  members_.del(intf);
}

bool Bridge::portEnabled(IntfId intf) const {
  const Member* const m = member(intf);
  return m && m->enabled;
}

// The leaves that this causes are pending when the port is disabled, which sends them.
void Bridge::portEnabledIs(IntfId intf, bool enabled) {
  Member* const m = member(intf);
  if (!m || m->enabled == enabled) return;
  m->enabled = enabled;
  const auto because = portChanged(intf, enabled ? PortChange::enabled : PortChange::disabled);
  if (enabled) {
    mrpInterfaceEnable(intf);
    handlePam(intf);  // an endpoint that was open before
    return;
  }
  {
    const Batch batch(*this);
    forward(*m, VlanSet::all(), false);
  }
  handleDisable(*m);
  mrpInterfaceDisable(intf);
  close(*m);
}

void Bridge::handlePam(IntfId intf) {
  Member* const m = member(intf);
  if (!m || !engine()) return;
  const bool isOpen = m->enabled && engine()->active() && engine()->endpoints().pam(intf);
  if (isOpen == m->open) return;
  isOpen ? open(*m) : close(*m);
}

bool Bridge::everythingForwards() const {
  return !roles_ || engine()->inputs().stpStatus->mode() == Stp::Mode::none;
}

void Bridge::open(Member& member) {
  const auto because = portChanged(member.intf, PortChange::opened);
  const Batch batch(*this);
  member.open = true;
  handleOpen(member);
  readRecords(member);
  if (everythingForwards()) {
    askNeighbour(member.intf);
    forward(member, VlanSet::all(), true);
  } else {
    roles_->repeat(member.intf.name());
    handleForwards(member, VlanSet::all());  // records of an earlier engine, on a port without role
  }
}

// Nothing ages out on a port without an endpoint, and what waits to be sent is out of date when
// there is one again.
void Bridge::close(Member& member) {
  if (!member.open) return;
  const auto because = portChanged(member.intf, PortChange::closed);
  const Batch batch(*this);
  member.open = false;
  mrpTxPacketContextDel(member.intf);
  mrpTxSecondPacketContextDel(member.intf);
  mrpCleanUpIntfDatabase(member.intf);
  handleOpen(member);
  readRecords(member);
  forward(member, VlanSet::all(), false);
}

// A change of role in the instance that governs the port makes the engine flush its registrations,
// of which it tells nobody, or doubt all of them. So the records are read again, and a neighbour is
// asked for its declarations rather than waited for.
void Bridge::handleRole(const std::string&, const std::string& msti, const std::string& port,
                        Stp::Role role) {
  const IntfId intf(port);
  Member* const m = member(intf);
  if (!m || !m->open || !engine() || everythingForwards()) return;
  const Batch batch(*this);
  const Engine::Inputs& inputs = engine()->inputs();
  const VlanSet vlans =
      vlansOfInstance(msti, inputs.stpStatus->mode(), *inputs.brConfig, inputs.brTopoConfig.get());
  if (baseSpanningTreeTopo(intf) != msti) return forward(*m, vlans, forwarding(role));
  readRecords(*m);
  if (forwarding(role) && !(vlans - m->forwards).empty()) askNeighbour(intf);
  m->forwards = forwarding(role) ? m->forwards | vlans : m->forwards - vlans;
  handleForwards(*m, VlanSet::all());
}

void Bridge::forward(Member& member, const VlanSet& vlans, bool forwards) {
  member.forwards = forwards ? member.forwards | vlans : member.forwards - vlans;
  handleForwards(member, vlans);
}

Accounts::Because Bridge::portChanged(IntfId intf, PortChange change) const {
  return Accounts::because(account_,
                           [&](Accounts::Account& a) { return a.portChanged(intf, change); });
}

// --- Requests ------------------------------------------------------------------------------------

void Bridge::askNeighbour(IntfId intf) {
  if (engine() && engine()->active()) engine()->sendLeaveAll(intf);
}

void Bridge::request(IntfId intf, std::uint8_t type, std::uint8_t event) {
  mrpOutIntfQueueEnq(intf);
  mrpSendAttribute({.intfId = intf, .attributeType = type, .attributeEvent = event});
}

void Bridge::sendWhatIsOpen(IntfId intf) {
  if (engine() && mrpTxSecondPacketContext(intf)) mrpTransmitTxAttributes(intf);
}

}  // namespace Mrp
