#pragma once

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "agent/bridge/Bridge.h"
#include "agent/msrp/StreamPropagation.h"

namespace Mrp {

class MrpAttrDatabase;

// MSRP in a bridge (IEEE 802.1Q-2018 35.2.4): a talker that is registered on one port is declared
// on the others, listeners are declared towards it, and the switch reserves what lies between.
// StreamPropagation decides; this carries what an engine registers to it, and its declarations
// back.
//
// Everything is settled once: at the end of a received frame, else before the clock moves on.
class MsrpBridge : public Bridge, private Streams::Declarations, private StreamForwarding::Reactor {
 public:
  // The switch outlives the bridge. `clock` is that of the engines.
  MsrpBridge(StreamForwarding& forwarding, Platform::Ptr<Platform::Clock> clock);
  ~MsrpBridge() override;

  // Settings, see StreamPropagation.
  void talkerPruningIs(bool pruning);
  void fanInLimitIs(std::uint32_t ports);
  void overheadIs(std::uint32_t octets);
  void streamLimitIs(std::uint32_t streams);
  void recoveryIs(Platform::Seconds time);

  // Hides Bridge's: decisions are told as well.
  void accountIs(Accounts::Account* account) {
    Bridge::accountIs(account);
    propagation_.accountIs(account);
  }

  // What has been decided, as of the last settlement.
  const Streams::StreamPropagation& propagation() const { return propagation_; }

  bool mrpJoinIndication(const MrpParameters& parameters) override;
  void mrpLeaveIndication(const MrpParameters& parameters) override;

 private:
  using StreamId = Streams::StreamId;

  void handleMember(const Member& member, bool there) override;
  void handleStart() override;
  void handleOpen(const Member& member) override;
  void handleDisable(const Member& member) override;
  void readRecords(const Member& member) override;
  void handleForwards(const Member& member, const VlanSet& vlans) override;
  void settle() override;

  void handleStreamPort(IntfId intf) override;

  void beginPort(IntfId intf, bool withdraws) override;
  void advertise(IntfId intf, const MsrpTalkerAdvertiseAttribute& value) override;
  void fail(IntfId intf, const MsrpTalkerFailedAttribute& value) override;
  void withdrawTalker(IntfId intf, TalkerKind kind, StreamId id) override;
  void listen(IntfId intf, StreamId id, MsrpListenerEvent event) override;
  void withdrawListener(IntfId intf, StreamId id) override;

  void talkerIs(IntfId intf, TalkerKind kind);
  void talkerLeaves(IntfId intf, TalkerKind kind);
  void endRegistration(IntfId intf, TalkerKind kind, StreamId id);
  void requestDomains(IntfId intf, std::uint8_t event);
  void requestTalker(IntfId intf, TalkerKind kind, StreamId id, std::uint8_t event);
  void adopt(IntfId intf, std::uint8_t type, const MrpAttrDatabase& record);
  bool adopted(IntfId intf, std::uint8_t type, StreamId id);
  void settleSoon();
  void handleAlarm();
  void compareStored(const MrpParameters& parameters);
  const MrpAttrDatabase* registered(IntfId intf, std::uint8_t type, StreamId id) const;
  void doubtful(IntfId intf, std::uint8_t type, StreamId id);
  void handleDoubts();
  void lookUp(IntfId intf, std::uint8_t type, StreamId id);
  void indicated(const MrpParameters& parameters, bool join);
  Accounts::Because decided(IntfId intf, StreamId id) const;

  StreamForwarding& forwarding_;
  Platform::Ptr<Platform::Clock> clock_;
  Streams::StreamPropagation propagation_;
  Platform::Alarm alarm_;
  // Registrations of which the engine stores another value than was indicated, and since when: of a
  // New it keeps nothing, and where we have declared a listener, too, it kept ours. Should the
  // neighbour go on with the stored one, because what was indicated came late or what followed was
  // lost, nobody is told. So they are looked up once all Joins must have come again.
  std::map<std::tuple<IntfId, std::uint8_t, StreamId>, Platform::Seconds> doubts_;
  Platform::Alarm doubtsAlarm_;
  bool settling_ = false;
  Accounts::Number unsettledSince_ = 0;  // the first record of what is to be settled
  // Values that the engine declared before start(), by port, type and stream, until the settlement
  // that follows: what stays the same is left alone.
  std::map<std::tuple<IntfId, std::uint8_t, StreamId>, std::vector<std::uint8_t>> adopted_;
};

}  // namespace Mrp
