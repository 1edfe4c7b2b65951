#include "agent/msrp/MsrpBridge.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpAttrDatabase.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpStatus.h"
#include "platform/bridging/BridgingConfig.h"

namespace Mrp {
namespace {

using Streams::StreamId;

constexpr std::uint8_t number(MsrpAttrType type) { return static_cast<std::uint8_t>(type); }
constexpr std::uint8_t number(MrpThreePackedEvent event) {
  return static_cast<std::uint8_t>(event);
}

constexpr std::uint8_t kNew = number(MrpThreePackedEvent::newEvent);
constexpr std::uint8_t kJoin = number(MrpThreePackedEvent::joinIn);
constexpr std::uint8_t kLeave = number(MrpThreePackedEvent::lv);
// Octets of the bridge identifier that stand before the address.
constexpr std::uint64_t kBridgePriority = 0x8000;

constexpr std::uint8_t typeOf(TalkerKind kind) {
  return number(kind == TalkerKind::failed ? MsrpAttrType::talkerFailed
                                           : MsrpAttrType::talkerAdvertise);
}
constexpr TalkerKind other(TalkerKind kind) {
  return kind == TalkerKind::failed ? TalkerKind::advertise : TalkerKind::failed;
}

template <class Value>
Value valueOf(const MrpAttrDatabase& record) {
  Value value;
  const auto octets = record.value();
  std::memcpy(static_cast<void*>(&value), octets.data(), std::min(octets.size(), sizeof value));
  return value;
}

}  // namespace

MsrpBridge::MsrpBridge(StreamForwarding& forwarding, Platform::Ptr<Platform::Clock> clock)
    : forwarding_(forwarding),
      clock_(std::move(clock)),
      propagation_(forwarding, *clock_, *this),
      alarm_(*clock_, Platform::Alarm::Class::wheel),
      doubtsAlarm_(*clock_, Platform::Alarm::Class::wheel) {
  identityIs(applicationInfo(MrpApplication::msrp));
  hasNotificationActiveIs(true);
  alarm_.bind<&MsrpBridge::handleAlarm>(this);
  doubtsAlarm_.bind<&MsrpBridge::handleDoubts>(this);
  forwarding_.reactorIs(this);
}

MsrpBridge::~MsrpBridge() { forwarding_.reactorIs(nullptr); }

// --- Settling ------------------------------------------------------------------------------------

// What a request makes happen to the bridge is settled after it.
void MsrpBridge::settle() {
  if (settling_) return;
  settling_ = true;
  const auto because = Accounts::because(account(), [&](const Accounts::Account& a) {
    const Accounts::Number since = std::exchange(unsettledSince_, 0);
    return a.has(since) ? since : 0;
  });
  do {
    propagation_.settle();
    adopted_.clear();
  } while (!propagation_.settled());
  settling_ = false;
  const Platform::Seconds deadline = propagation_.deadline();
  deadline == Platform::Seconds::never() ? alarm_.cancel() : alarm_.dueIs(deadline);
}

// Several attributes may leave at one tick: all of them are known when the clock calls next.
void MsrpBridge::settleSoon() {
  if (account() && unsettledSince_ == 0) unsettledSince_ = account()->because();
  if (!settling_ && !settlesLater()) alarm_.dueIs(clock_->now());
}

void MsrpBridge::handleAlarm() { settle(); }

// --- Ports ---------------------------------------------------------------------------------------

void MsrpBridge::handleMember(const Member& member, bool there) {
  if (there) {
    propagation_.portIs(member.intf);
    settleSoon();
  } else {
    settle();  // nothing waits on a port that goes
    propagation_.portDel(member.intf);
  }
}

void MsrpBridge::handleStart() {
  const Engine::Inputs& inputs = engine()->inputs();
  inputs.mrpConfig->wholeTalkersInSequenceIs(true);
  doubts_.clear();
  doubtsAlarm_.cancel();
  propagation_.bridgeIdIs(kBridgePriority << 48 | inputs.brConfig->bridgeMacAddr().number());
  propagation_.restart();
}

void MsrpBridge::handleOpen(const Member& member) {
  propagation_.openIs(member.intf, member.open);
  if (member.open) requestDomains(member.intf, kJoin);
}

void MsrpBridge::handleDisable(const Member& member) {
  if (member.open) requestDomains(member.intf, kLeave);
}

void MsrpBridge::handleForwards(const Member& member, const VlanSet&) {
  propagation_.forwardsIs(member.intf, member.forwards);
}

void MsrpBridge::handleStreamPort(IntfId intf) {
  propagation_.portChanged(intf);
  settleSoon();
}

// Every class on every port at all times (35.2.4); the lower number first, so that one vector
// carries both.
void MsrpBridge::requestDomains(IntfId intf, std::uint8_t event) {
  if (event == kLeave) sendWhatIsOpen(intf);
  for (std::size_t c = kSrClasses; c-- > 0;) {
    const SrClassInfo& info = kSrClassTable[c];
    msrpDomainVectorTxIs({static_cast<std::uint8_t>(info.id), info.priority, info.vid});
    request(intf, number(MsrpAttrType::domain), event);
  }
}

// The engine's records say what is registered, but not with which value: what was indicated as New
// is not stored. So of what is known here only what has gone is taken over, and what is not known
// from an engine that was there before.
void MsrpBridge::readRecords(const Member& member) {
  const IntfId intf = member.intf;
  std::array<std::set<std::uint64_t>, 5> registered;
  for (std::uint8_t type = 1; type < registered.size() && engine()->active(); ++type) {
    engine()->walkRecords(intf, type, [&](const MrpAttrDatabase& record) {
      if (record.registrarState() != MrpRegistrarState::mt) {
        registered[type].insert(record.attributeKey());
      }
      if (declares(record.applicantState())) adopt(intf, type, record);
    });
  }
  const auto isRegistered = [&](MsrpAttrType type, std::uint64_t key) {
    return registered[number(type)].contains(key);
  };
  for (const StreamId id : propagation_.streamsOn(intf)) {
    const TalkerKind kind = propagation_.talker(intf, id);
    if (kind != TalkerKind::none && !registered[typeOf(kind)].contains(id)) {
      propagation_.talkerDel(intf, id);
    }
    if (!isRegistered(MsrpAttrType::listener, id)) {
      propagation_.listenerIs(intf, id, MsrpListenerEvent::ignore);
    }
  }
  for (const SrClassInfo& c : kSrClassTable) {
    if (!isRegistered(MsrpAttrType::domain, static_cast<std::uint64_t>(c.id))) {
      propagation_.domainIs(intf, c.id, std::nullopt);
    }
  }
  const auto known = [&](StreamId id) { return propagation_.talker(intf, id) != TalkerKind::none; };
  for (const TalkerKind kind : {TalkerKind::advertise, TalkerKind::failed}) {
    if (!member.open || registered[typeOf(kind)].empty()) continue;
    engine()->walkRecords(intf, typeOf(kind), [&](const MrpAttrDatabase& record) {
      if (record.registrarState() == MrpRegistrarState::mt || known(record.attributeKey())) return;
      propagation_.talkerIs(intf, valueOf<MsrpTalkerFailedAttribute>(record),
                            kind == TalkerKind::failed);
    });
  }
  if (!member.open) return;
  // Of a neighbour's domain the record may hold our priority rather than his: he is taken for one
  // of ours until he answers, so that what was reserved goes on.
  engine()->walkRecords(intf, number(MsrpAttrType::domain), [&](const MrpAttrDatabase& record) {
    const auto value = valueOf<MsrpDomainAttribute>(record);
    const auto srClass = srClassNumbered(value.srClassId);
    if (record.registrarState() == MrpRegistrarState::mt || !srClass) return;
    const auto domain = propagation_.domain(intf, *srClass);
    if (domain && domain->theirs) return;
    propagation_.domainIs(intf, *srClass, value.srClassPriority);
  });
  const auto streams = propagation_.streamsOn(intf);
  engine()->walkRecords(intf, number(MsrpAttrType::listener), [&](const MrpAttrDatabase& record) {
    if (record.registrarState() == MrpRegistrarState::mt) return;
    if (std::ranges::binary_search(streams, record.attributeKey())) return;
    const auto value = valueOf<MsrpListenerAttribute>(record);
    propagation_.listenerIs(intf, value.streamId, value.listenerEvent());
  });
}

// --- Indications ---------------------------------------------------------------------------------

// What a settlement may come from: the first of it stands for all.
void MsrpBridge::indicated(const MrpParameters& parameters, bool join) {
  if (!account()) return;
  const std::uint8_t type = parameters.attributeType;
  // Of domains every join is indicated.
  if (join && type == number(MsrpAttrType::domain)) {
    const MsrpDomainAttribute& value = msrpDomainVectorRx();
    const auto srClass = srClassNumbered(value.srClassId);
    const auto known = srClass ? propagation_.domain(parameters.intfId, *srClass) : std::nullopt;
    if (!known || known->theirs == value.srClassPriority) return;
  }
  const Accounts::Number input = account()->contribution(
      {parameters.intfId, type, values().rxKey(type)}, join, engine()->frameInProgress());
  if (unsettledSince_ == 0) unsettledSince_ = input;
}

Accounts::Because MsrpBridge::decided(IntfId intf, StreamId id) const {
  return Accounts::because(account(),
                           [&](const Accounts::Account& a) { return a.decided(intf, id); });
}

bool MsrpBridge::mrpJoinIndication(const MrpParameters& parameters) {
  const IntfId intf = parameters.intfId;
  if (!member(intf)) return false;
  indicated(parameters, true);
  compareStored(parameters);
  switch (static_cast<MsrpAttrType>(parameters.attributeType)) {
    case MsrpAttrType::talkerAdvertise:
      talkerIs(intf, TalkerKind::advertise);
      break;
    case MsrpAttrType::talkerFailed:
      talkerIs(intf, TalkerKind::failed);
      break;
    case MsrpAttrType::listener: {
      const MsrpListenerAttribute& value = msrpListenerVectorRx();
      propagation_.listenerIs(intf, value.streamId, value.listenerEvent());
      break;
    }
    case MsrpAttrType::domain: {
      const MsrpDomainAttribute& value = msrpDomainVectorRx();
      const auto srClass = srClassNumbered(value.srClassId);
      if (srClass) propagation_.domainIs(intf, *srClass, value.srClassPriority);
      break;
    }
    default:
      break;
  }
  if (!propagation_.settled()) settleSoon();
  return false;
}

void MsrpBridge::mrpLeaveIndication(const MrpParameters& parameters) {
  const IntfId intf = parameters.intfId;
  indicated(parameters, false);
  switch (static_cast<MsrpAttrType>(parameters.attributeType)) {
    case MsrpAttrType::talkerAdvertise:
      talkerLeaves(intf, TalkerKind::advertise);
      break;
    case MsrpAttrType::talkerFailed:
      talkerLeaves(intf, TalkerKind::failed);
      break;
    case MsrpAttrType::listener:
      propagation_.listenerIs(intf, msrpListenerVectorRx().streamId, MsrpListenerEvent::ignore);
      break;
    case MsrpAttrType::domain:
      if (const auto srClass = srClassNumbered(msrpDomainVectorRx().srClassId)) {
        propagation_.domainIs(intf, *srClass, std::nullopt);
      }
      break;
    default:
      break;
  }
  if (!propagation_.settled()) settleSoon();
}

void MsrpBridge::compareStored(const MrpParameters& parameters) {
  const std::uint8_t type = parameters.attributeType;
  if (type == number(MsrpAttrType::domain)) return;
  const StreamId id = values().rxKey(type);
  const MrpAttrDatabase* record = registered(parameters.intfId, type, id);
  if (record && !record->valueEquals(rxImage(type))) doubtful(parameters.intfId, type, id);
}

// None unless the neighbour's.
const MrpAttrDatabase* MsrpBridge::registered(IntfId intf, std::uint8_t type, StreamId id) const {
  const MrpIntfTypeApplicant* records = engine()->database().typeApplicant(intf, type);
  const MrpAttrDatabase* record = records ? records->visible(id) : nullptr;
  return record && record->registrarState() != MrpRegistrarState::mt ? record : nullptr;
}

void MsrpBridge::doubtful(IntfId intf, std::uint8_t type, StreamId id) {
  doubts_[{intf, type, id}] = clock_->now();
  if (doubts_.size() == 1) handleDoubts();
}

void MsrpBridge::handleDoubts() {
  if (!engine()) return doubts_.clear();
  // A LeaveAll period is prolonged by half at most; then whoever is still there has a leave time.
  const MrpConfig& config = *engine()->inputs().mrpConfig;
  const Platform::Seconds wait{1.5 * config.leaveAllTime().value() +
                               2 * config.leaveTime().value()};
  for (auto doubt = doubts_.begin(); doubt != doubts_.end();) {
    if (doubt->second + wait > clock_->now()) {
      ++doubt;
      continue;
    }
    const auto [intf, type, id] = doubt->first;
    doubt = doubts_.erase(doubt);
    lookUp(intf, type, id);
  }
  if (!doubts_.empty()) doubtsAlarm_.dueIs(clock_->now() + wait);
  if (!propagation_.settled()) settleSoon();
}

// A listener's record on the talker's port holds what is declared there.
void MsrpBridge::lookUp(IntfId intf, std::uint8_t type, StreamId id) {
  const MrpAttrDatabase* record = registered(intf, type, id);
  if (!record) return;
  if (type == number(MsrpAttrType::listener)) {
    if (propagation_.mergedOn(id) == intf) return;
    const auto event = valueOf<MsrpListenerAttribute>(*record).listenerEvent();
    return propagation_.listenerIs(intf, id, event);
  }
  const TalkerKind kind =
      type == number(MsrpAttrType::talkerFailed) ? TalkerKind::failed : TalkerKind::advertise;
  if (propagation_.talker(intf, id) != kind) return;
  propagation_.talkerIs(intf, valueOf<MsrpTalkerFailedAttribute>(*record),
                        kind == TalkerKind::failed);
}

// A stream's Talker Advertise takes the place of its Talker Failed from the same neighbour, and the
// other way round, as though that had left at once (35.2.6).
void MsrpBridge::talkerIs(IntfId intf, TalkerKind kind) {
  MsrpTalkerFailedAttribute value;
  if (kind == TalkerKind::failed) {
    value = msrpTalkerFailedRx();
  } else {
    value.talkerAdvertiseAttribute = msrpTalkerAdvertiseRx();
  }
  const StreamId id = keyOf(value);
  if (propagation_.talker(intf, id) == other(kind)) endRegistration(intf, other(kind), id);
  propagation_.talkerIs(intf, value, kind == TalkerKind::failed);
}

// What leaves may have been replaced already.
void MsrpBridge::talkerLeaves(IntfId intf, TalkerKind kind) {
  const StreamId id =
      kind == TalkerKind::failed ? keyOf(msrpTalkerFailedRx()) : keyOf(msrpTalkerAdvertiseRx());
  if (propagation_.talker(intf, id) == kind) propagation_.talkerDel(intf, id);
}

// Its record goes, and with it what we declare by the same record.
void MsrpBridge::endRegistration(IntfId intf, TalkerKind kind, StreamId id) {
  if (propagation_.declared(intf, id) == kind) {
    sendWhatIsOpen(intf);
    requestTalker(intf, kind, id, kLeave);
    propagation_.forgetDeclared(intf, id);
  }
  requestTalker(intf, kind, id, kInternalLeaveEvent);
}

// --- Declarations --------------------------------------------------------------------------------

void MsrpBridge::beginPort(IntfId intf, bool withdraws) {
  if (withdraws) sendWhatIsOpen(intf);
}

void MsrpBridge::advertise(IntfId intf, const MsrpTalkerAdvertiseAttribute& value) {
  msrpTalkerAdvertiseTxIs(value);
  const std::uint8_t type = number(MsrpAttrType::talkerAdvertise);
  const auto because = decided(intf, value.streamId);
  if (!adopted(intf, type, value.streamId)) request(intf, type, kNew);
}

void MsrpBridge::fail(IntfId intf, const MsrpTalkerFailedAttribute& value) {
  msrpTalkerFailedTxIs(value);
  const std::uint8_t type = number(MsrpAttrType::talkerFailed);
  const auto because = decided(intf, keyOf(value));
  if (!adopted(intf, type, keyOf(value))) request(intf, type, kNew);
}

void MsrpBridge::withdrawTalker(IntfId intf, TalkerKind kind, StreamId id) {
  const auto because = decided(intf, id);
  requestTalker(intf, kind, id, kLeave);
}

void MsrpBridge::requestTalker(IntfId intf, TalkerKind kind, StreamId id, std::uint8_t event) {
  if (kind == TalkerKind::failed) {
    msrpTalkerFailedTx().talkerAdvertiseAttribute.streamId = id;
  } else {
    msrpTalkerAdvertiseTx().streamId = id;
  }
  request(intf, typeOf(kind), event);
}

void MsrpBridge::listen(IntfId intf, StreamId id, MsrpListenerEvent event) {
  MsrpListenerAttribute value;
  value.streamId = id;
  value.listenerEventIs(event);
  msrpListenerVectorTxIs(value);
  const std::uint8_t type = number(MsrpAttrType::listener);
  const auto because = decided(intf, id);
  if (!adopted(intf, type, id)) request(intf, type, kNew);
}

void MsrpBridge::withdrawListener(IntfId intf, StreamId id) {
  msrpListenerVectorTx().streamId = id;
  const auto because = decided(intf, id);
  const std::uint8_t type = number(MsrpAttrType::listener);
  request(intf, type, kLeave);
  // The neighbour's own declaration has our value by now.
  if (registered(intf, type, id)) doubtful(intf, type, id);
}

// --- Taking over ---------------------------------------------------------------------------------

void MsrpBridge::adopt(IntfId intf, std::uint8_t type, const MrpAttrDatabase& record) {
  const StreamId id = record.attributeKey();
  if (type == number(MsrpAttrType::domain)) return;
  if (type == number(MsrpAttrType::listener)) {
    if (propagation_.mergedOn(id) == intf) return;
    propagation_.mergedIs(intf, id, valueOf<MsrpListenerAttribute>(record).listenerEvent());
  } else {
    const bool failed = type == number(MsrpAttrType::talkerFailed);
    const TalkerKind kind = failed ? TalkerKind::failed : TalkerKind::advertise;
    if (propagation_.declared(intf, id) != TalkerKind::none) return;
    propagation_.declaredIs(intf, id, kind);
  }
  const auto octets = record.value();
  adopted_[{intf, type, id}] = {octets.begin(), octets.end()};
}

// Whether this very value, in the transmit record, is declared already.
bool MsrpBridge::adopted(IntfId intf, std::uint8_t type, StreamId id) {
  if (adopted_.empty()) return false;
  const auto found = adopted_.find({intf, type, id});
  return found != adopted_.end() && std::ranges::equal(found->second, txImage(type));
}

// --- Settings ------------------------------------------------------------------------------------

void MsrpBridge::talkerPruningIs(bool pruning) {
  propagation_.talkerPruningIs(pruning);
  settleSoon();
}

void MsrpBridge::fanInLimitIs(std::uint32_t ports) {
  propagation_.fanInLimitIs(ports);
  settleSoon();
}

void MsrpBridge::overheadIs(std::uint32_t octets) {
  propagation_.overheadIs(octets);
  settleSoon();
}

void MsrpBridge::streamLimitIs(std::uint32_t streams) {
  propagation_.streamLimitIs(streams);
  settleSoon();
}

void MsrpBridge::recoveryIs(Platform::Seconds time) {
  propagation_.recoveryIs(time);
  settleSoon();
}

}  // namespace Mrp
