#include "fuzz/frames/World.h"

#include <algorithm>
#include <map>
#include <string>

#include "fuzz/Check.h"
#include "fuzz/frames/OwnFilter.h"

namespace Fuzz {

using Mrp::MrpAttrDatabase;
using Mrp::MrpParameters;
using Platform::EthAddr;

namespace {

constexpr unsigned kMaxSteps = 100;
constexpr std::uint8_t kJoin = 1;
constexpr std::uint8_t kLeave = 5;

}  // namespace

// The receive records must name the attribute whatever was done inside the indications before.
bool Agent::indicated(const MrpParameters& p, bool join) {
  const std::uint64_t key = world_.engine_->parseContext()->attributeKey();
  CHECK(world_.engine_->mrpGetRxAttributeKey() == key);
  CHECK(p.attributeType >= 1 && p.attributeType <= world_.types());
  if (world_.script_.empty()) return false;
  switch (world_.script_[world_.nextIndication_++ % world_.script_.size()] % 10) {
    case 0:
    case 1:
      propagate(p, join);
      break;
    case 2:
      return true;
    case 3:
      world_.enable(p.intfId, false);
      break;
    case 4:
      mrpCleanUpIntfDatabaseAttribute(p.intfId, p.attributeType, key);
      break;
    case 5:
      std::ranges::copy(rxImage(p.attributeType), txImage(p.attributeType).begin());
      world_.request({p.intfId}, {p.intfId, p.attributeType, Mrp::kInternalLeaveEvent});
      break;
    case 6:
      world_.request({p.intfId}, {p.intfId, p.attributeType, Mrp::kLeaveAllEvent});
      break;
    case 7:
      world_.enable(p.intfId, false);
      world_.enable(p.intfId, true);
      break;
    case 8:
      mrpCleanUpIntfDatabase(p.intfId);
      propagate(p, join);
      return join;
    default:
      break;
  }
  CHECK(world_.engine_->parseContext()->attributeKey() == key);
  return false;
}

void Agent::propagate(const MrpParameters& p, bool join) {
  for (const IntfId intf : world_.ports_) {
    if (intf == p.intfId) continue;
    std::ranges::copy(rxImage(p.attributeType), txImage(p.attributeType).begin());
    world_.request({intf}, {intf, p.attributeType, join ? kJoin : kLeave});
  }
}

World::World(Input& input) : in_(input) {
  const unsigned mode = in_.octet();
  protocol_ = mode & 1 ? kMsrp : kMvrp;
  wholeFrames_ = mode & 2;
  constexpr std::array<std::uint32_t, 4> kMtus{1500, 9000, 100, 0};
  const std::uint32_t mtu = kMtus[mode >> 2 & 3];
  if (mode & 0x10) switch_.trace().levelIs(9);
  stateDatabase_ = withOwnFilter(switch_.stateDatabase(), protocol_, mode & 0x40);
  config_->leaveTimeIs(0.2);
  config_->leaveAllTimeIs(1.0);
  config_->recommendedLimitsAre();
  if (mode & 0x80) {
    config_->vlanLimitIs(4);
    config_->listenerLimitIs(4);
  }
  for (std::size_t i = 0; i < kPorts; ++i) {
    ports_[i] = switch_.portIs("port" + std::to_string(i + 1),
                               EthAddr::fromNumber(0x020000000001 + i), mtu);
  }
  switch_.onTransmit([this](IntfId, const Platform::Pkt& pkt) { transmitted(pkt.octets()); });
  script_ = in_.take(in_.octet() % 8);
  startEngine(mode & 0x20);
  for (const IntfId intf : ports_) enable(intf, true);
}

World::~World() = default;

// An agent that starts again has nothing but the status and the switch.
void World::startEngine(bool standby) {
  agent_ = makePtr<Agent>(*this);
  agent_->hasNotificationActiveIs(true);
  agent_->applicationIs(protocol_.application);
  agent_->applicationMacAddrIs(EthAddr::fromNumber(protocol_.address));
  agent_->applicationEtypeIs(protocol_.etype);
  engine_ = Mrp::mrpSmFactory(switch_.bridgingConfig(), agent_.get(), config_, status_,
                              switch_.stpStatus(), switch_.bridgingTopologyConfig(),
                              switch_.ethPhyIntfStatusDir(), stateDatabase_, standby);
}

void World::stopEngine() {
  if (active()) staged_ += engine_->parseContext()->eventsCounter();
  engine_ = nullptr;
}

void World::run() {
  for (; step_ < kMaxSteps && !in_.empty(); ++step_) {
    step();
    check();
  }
  end();
}

// A flooded frame is whatever was received.
void World::transmitted(OctetSpan frame) const {
  if (!status_->flood()) CHECK(soundnessOf(protocol_, frame) != Soundness::broken);
}

void World::withdrawAll() {
  std::map<Mrp::MrpAttribute, std::vector<std::uint8_t>> values;
  eachCollection([&](IntfId intf, std::uint8_t type, Mrp::MrpIntfTypeApplicant&) {
    engine_->walkRecords(intf, type, [&](const MrpAttrDatabase& record) {
      const OctetSpan value = record.value();
      values[{intf, type, record.attributeKey()}].assign(value.begin(), value.end());
    });
  });
  for (const auto& [attribute, value] : values) {
    const auto& [intf, type, key] = attribute;
    std::ranges::copy(value, agent_->txImage(type).begin());
    request({intf}, {intf, type, kLeave});
  }
}

void World::end() {
  script_ = {};
  status_->floodIs(false);
  config_->txSuppressIs(false);
  config_->timersEnabledIs(true);
  config_->leaveTimeIs(0.2);
  config_->leaveAllTimeIs(1.0);
  switch_.attrLog().reopen();
  switch_.pktAllocator().failNext(0);
  for (const IntfId intf : ports_) {
    config_->intfLeaveTimeDel(intf);
    config_->intfLeaveAllTimeDel(intf);
    switch_.portIs(intf.name(), EthAddr::fromNumber(0x020000000001));
  }
  engine_->standbyModeIs(false);
  engine_->handleStandbyMode();
  engine_->hasNotificationActiveIs(true);
  for (const IntfId intf : ports_) enable(intf, true);
  clock_->run(1.0);  // frames that wait unread
  withdrawAll();
  check();
  clock_->run(12.0);
  check();
  checkAllGone();
}

}  // namespace Fuzz
