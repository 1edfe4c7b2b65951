// What an input can do: one octet says what, operands follow.

#include <algorithm>

#include "fuzz/Check.h"
#include "fuzz/frames/World.h"

namespace Fuzz {

using Mrp::MrpParameters;
using Platform::EthAddr;
using Platform::Seconds;

void World::step() {
  switch (in_.octet() % 16) {
    default:
      frame(false);
      break;
    case 1:
      frame(true);
      break;
    case 2:
    case 3:
      clock_->run(in_.octet() * 0.05);
      break;
    case 4:
    case 5:
      request();
      break;
    case 6: {
      const IntfId intf = port();
      enable(intf, in_.octet() & 1);
      break;
    }
    case 7:
      spanningTree();
      break;
    case 8:
      status_->floodIs(in_.octet() & 1);
      break;
    case 9:
      failure(in_.octet());
      break;
    case 10: {
      const IntfId intf = port();
      if (active()) engine_->mrpPamSm()->transmitAllLeaveAll(intf);
      break;
    }
    case 11:
      takeOver();
      break;
    case 12:
      cleanUp();
      break;
    case 13:
      engine_->hasNotificationActiveIs(in_.octet() & 1);
      break;
  }
}

void World::frame(bool waits) {
  const IntfId intf = port();
  const Seconds unread = waits ? in_.octet() * 0.01 : 0.0;
  const std::size_t high = in_.octet();
  const OctetSpan body = in_.take(high << 8 | in_.octet());
  std::vector<std::uint8_t> octets;
  if (!wholeFrames_) {
    const EthAddr group = EthAddr::fromNumber(protocol_.address);
    octets.assign(group.octets().begin(), group.octets().end());
    octets.resize(12);
    octets.push_back(static_cast<std::uint8_t>(protocol_.etype >> 8));
    octets.push_back(static_cast<std::uint8_t>(protocol_.etype));
  }
  octets.insert(octets.end(), body.begin(), body.end());
  switch_.receive(intf, octets, unread);
}

// The upper half of the event names ports that are queued beside the one that is asked for.
void World::request() {
  const IntfId intf = port();
  const auto type = static_cast<std::uint8_t>(1 + in_.octet() % types());
  const unsigned event = in_.octet();
  const auto image = agent_->txImage(type);
  std::ranges::copy(in_.take(in_.octet() % (image.size() + 1)), image.begin());
  std::vector<IntfId> queued{intf};
  for (std::size_t i = 0; i < kPorts; ++i) {
    if (event >> (5 + i) & 1) queued.push_back(ports_[i]);
  }
  request(queued, {intf, type, static_cast<std::uint8_t>((event & 0x1f) % 9)});
}

void World::request(const std::vector<IntfId>& queued, const MrpParameters& parameters) {
  if (active()) requested_ += queued.size();
  for (const IntfId intf : queued) agent_->mrpOutIntfQueueEnq(intf);
  agent_->mrpSendAttribute(parameters);
  CHECK(agent_->mrpOutIntfQueueEmpty());
}

void World::enable(IntfId intf, bool enable) {
  if (engine_->enabled(intf) == enable) return;
  if (enable) {
    agent_->mrpInterfaceEnable(intf);
  } else {
    agent_->mrpInterfaceDisable(intf);
  }
}

// A role, or the port, the instance or the whole tree goes, or another mode decides which instance
// counts.
void World::spanningTree() {
  const IntfId intf = port();
  const unsigned what = in_.octet() % 12;
  Stp::StpStatus& stp = *switch_.stpStatus();
  switch (what) {
    case 10:
      stp.modeIs(in_.octet());
      break;
    case 11: {
      const auto vlan = static_cast<std::uint16_t>(1 + in_.octet());
      switch_.bridgingConfig()->nativeVlanIs(intf, vlan);
      switch_.bridgingConfig()->vlanConfigIs(Platform::VlanId(vlan), {});
      break;
    }
    case 7:
      stp.childIs("Mst").childIs(Stp::kCist).childDel(intf.name());
      break;
    case 8:
      stp.childIs("Mst").childDel(Stp::kCist);
      break;
    case 9:
      stp.childDel("Mst");
      break;
    default:
      stp.childIs("Mst")
          .childIs(Stp::kCist)
          .childIs(intf.name())
          .roleIs(static_cast<Stp::MstiPortStatus::Role>(what));
      break;
  }
}

// A standby engine becomes active; an active one is replaced, a few times: to make an engine takes
// longer than everything else a run does.
void World::takeOver() {
  if (engine_->standbyMode()) {
    engine_->standbyModeIs(false);
    engine_->handleStandbyMode();
    return;
  }
  constexpr unsigned kMostTakeOvers = 4;
  if (takeOvers_ == kMostTakeOvers) return;
  ++takeOvers_;
  stopEngine();
  const unsigned how = in_.octet();
  if (how & 2) copyStatus();
  startEngine(how & 1);
  for (const IntfId intf : ports_) enable(intf, true);
}

// The side that takes over was sent what is committed.
void World::copyStatus() {
  const Ptr<Mrp::MrpStatus> copy = makePtr<Mrp::MrpStatus>();
  copyCommitted(*status_->application(protocol_.application),
                copy->applicationIs(protocol_.application));
  copy->floodIs(status_->flood());
  status_ = copy;
}

void World::cleanUp() {
  const IntfId intf = port();
  const auto type = static_cast<std::uint8_t>(1 + in_.octet() % types());
  const unsigned which = in_.octet();
  auto* collection = engine_->applicationDatabase()->typeApplicant(intf, type);
  if (which & 1 || !collection) {
    agent_->mrpCleanUpIntfDatabase(intf);
    return;
  }
  collection->walk(Mrp::AttrTable::kVisible, [&](const Mrp::MrpAttrDatabase& record) {
    const std::uint64_t key = record.attributeKey();
    if (key < which >> 1) return true;
    agent_->mrpCleanUpIntfDatabaseAttribute(intf, type, key);
    return false;
  });
}

void World::failure(unsigned what) {
  const IntfId intf = port();
  const unsigned value = in_.octet();
  switch (what % 12) {
    case 0:
      switch_.pktAllocator().failNext(value % 8);
      break;
    case 1:
      switch_.attrLog().queueOctetsIs(value * 1000);
      break;
    case 2:
      switch_.attrLog().close();
      break;
    case 3:
      switch_.attrLog().reopen();
      break;
    case 4:
      switch_.portDel(intf);
      break;
    case 5:
      switch_.portIs(intf.name(), EthAddr::fromNumber(0x020000000009), value * 8);
      break;
    case 6:
      config_->txSuppressIs(value & 1);
      break;
    case 7:
      config_->intfLeaveTimeIs(intf, (value & 7) * 0.1);
      config_->intfLeaveAllTimeIs(intf, (value >> 4) * 0.2);
      break;
    case 8:
      engine_->recycledPktIs(value & 1);
      break;
    case 9:
      config_->timersEnabledIs(value & 1);
      break;
    case 10:
      config_->leaveTimeIs((value & 7) * 0.1);
      config_->leaveAllTimeIs(0.2 + (value >> 4) * 0.2);
      break;
    case 11:
      config_->leaveAllLeaveTimeIs((value & 7) * 0.1);
      break;
  }
}

}  // namespace Fuzz
