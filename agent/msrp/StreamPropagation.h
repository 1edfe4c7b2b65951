#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "agent/account/Account.h"
#include "agent/msrp/AddressBook.h"
#include "agent/msrp/ChangeLimit.h"
#include "agent/msrp/Entries.h"
#include "agent/msrp/Explanation.h"
#include "agent/msrp/FanIn.h"
#include "agent/msrp/Granting.h"
#include "agent/msrp/KeptStreams.h"
#include "agent/msrp/Stream.h"
#include "agent/msrp/StreamState.h"
#include "platform/time/Clock.h"

namespace Mrp::Streams {

// Where StreamPropagation declares what it has decided. Nothing is called but from settle().
class Declarations {
 public:
  // Comes before all others on a port in one settlement; `withdraws` when one of them withdraws.
  virtual void beginPort(IntfId intf, bool withdraws) = 0;
  virtual void advertise(IntfId intf, const MsrpTalkerAdvertiseAttribute& value) = 0;
  virtual void fail(IntfId intf, const MsrpTalkerFailedAttribute& value) = 0;
  virtual void withdrawTalker(IntfId intf, TalkerKind kind, StreamId id) = 0;
  virtual void listen(IntfId intf, StreamId id, MsrpListenerEvent event) = 0;
  virtual void withdrawListener(IntfId intf, StreamId id) = 0;

 protected:
  ~Declarations() = default;
};

// Propagation of streams in a bridge (IEEE 802.1Q-2018 35.2.4): from what is registered on the
// ports to what they declare and what the switch reserves. Knows no engine.
//
// Changes are taken in in the order in which they happen and act when settle() is called: once
// after each received frame and each tick, so that who is granted does not depend on the order
// within one.
class StreamPropagation {
 public:
  StreamPropagation(StreamForwarding& forwarding, const Platform::Clock& clock,
                    Declarations& declarations);
  ~StreamPropagation();
  StreamPropagation(const StreamPropagation&) = delete;
  StreamPropagation& operator=(const StreamPropagation&) = delete;

  // --- Ports -------------------------------------------------------------------------------------
  void portIs(IntfId intf);
  // Of a port that is closed, has nothing registered and has been settled since.
  void portDel(IntfId intf);
  // A closed port takes no part. What was declared there is forgotten without a request.
  void openIs(IntfId intf, bool open);
  void forwardsIs(IntfId intf, const VlanSet& vlans);
  // The switch's answers for the port may have changed.
  void portChanged(IntfId intf);

  // --- Registrations -----------------------------------------------------------------------------
  void domainIs(IntfId intf, SrClass srClass, std::optional<std::uint8_t> priority);
  // A stream has one talker registration a port, of either kind. What changes too fast is held back
  // for a second at most, see ChangeLimit.
  void talkerIs(IntfId intf, const MsrpTalkerFailedAttribute& value, bool failed);
  void talkerDel(IntfId intf, StreamId id);
  // The kind that came last.
  TalkerKind talker(IntfId intf, StreamId id) const;
  // `ignore` is none.
  void listenerIs(IntfId intf, StreamId id, MsrpListenerEvent event);
  // Identifiers of the streams that have something registered on the port.
  std::vector<StreamId> streamsOn(IntfId intf) const;
  // Nothing is registered or declared any more and no port is open; the switch keeps what it has
  // until the next settlement.
  void restart();
  // What an engine declares already when this takes over.
  void declaredIs(IntfId intf, StreamId id, TalkerKind kind);
  void mergedIs(IntfId intf, StreamId id, MsrpListenerEvent event);
  // What this declares.
  TalkerKind declared(IntfId intf, StreamId id) const;
  // The port on which a listener declaration of the stream stands, the empty one if none does.
  IntfId mergedOn(StreamId id) const;
  // It has been withdrawn already.
  void forgetDeclared(IntfId intf, StreamId id);

  // --- Settings, with their first values ---------------------------------------------------------
  void bridgeIdIs(std::uint64_t id);
  void talkerPruningIs(bool pruning);         // false
  void fanInLimitIs(std::uint32_t ports);     // 0: none
  void overheadIs(std::uint32_t octets);      // kFrameOverhead
  void streamLimitIs(std::uint32_t streams);  // 0: none
  // How long a stream that failed with code 16 has to stay the same to be a new one. Never: until
  // it has left.
  void recoveryIs(Seconds time);  // 30 s

  // Is told of decisions and reservations. Not owned; null at first.
  void accountIs(Accounts::Account* account) { account_ = account; }

  // --- Work --------------------------------------------------------------------------------------
  bool settled() const { return !unsettled_; }
  void settle();
  // When settle() has to be called although nothing has changed.
  Seconds deadline() const;

  // --- Results -----------------------------------------------------------------------------------
  // As of the last settlement; in order of identifier, VLAN and address, or port.
  std::vector<StreamState> streams() const;
  std::optional<StreamState> stream(StreamId id) const;
  // The stream whose frames go to an address, if there is one.
  std::optional<StreamId> owner(Platform::VlanId vlan, Platform::EthAddr address) const;
  std::vector<ReservationState> reservations() const;
  std::vector<BandwidthState> bandwidths() const;
  std::vector<SlopeState> slopes() const;
  std::vector<BoundaryState> boundaries() const;
  // How what a port declares of a stream was decided.
  Explanation explain(StreamId id, IntfId intf) const;
  // None for a port that the bridge does not have.
  std::optional<DomainState> domain(IntfId intf, SrClass srClass) const;
  // What does not agree in here; empty if all is well. For tests, and slow.
  std::string review() const;

 private:
  struct Standing {
    TalkerKind kind;
    std::uint16_t code;  // of a failure, see Fate::code
  };
  struct Operation {
    Stream* stream;
    enum class What : std::uint8_t {
      advertise,
      withdrawAdvertise,
      fail,
      withdrawFail,
      listen,
      withdrawListen,
    } what;
  };

  // --- Taking in (StreamPropagation.cpp)
  Port* find(IntfId intf) const;
  Stream* find(StreamId id) const;
  Stream& streamIs(StreamId id);
  std::uint32_t freeNumber();
  void change();
  void dirty(Stream& stream);
  void touch(Stream& stream, Port& port);
  void changed(Port& port);
  void forgetDeclared(Port& port);
  void repeatMerged(Stream& stream);
  void takePart(Port& port);
  void refresh(Stream& stream);
  void moved(Stream& stream, Port* in);
  void firstValueChanged(Stream& stream, bool is);
  void forgetLatencies(Stream& stream);
  void keepFirstLatencies(Port& port);
  void keepFirstLatencies(const Stream& stream, std::optional<SrClass> next);

  // --- Deciding (Settlement.cpp)
  void release();
  Accounts::Number recover();
  void absorb();
  void absorbPort(Port& port);
  void absorbStream(Stream& stream);
  void reviewFanIn();
  Booking bookingOf(const Stream& stream) const;
  Standing standing(const Stream& stream, const Port& port) const;
  Standing outcome(const Stream& stream, const Port& port) const;
  bool latencyShifted(const Stream& stream, const Port& port) const;
  std::string whyNothing(const Stream& stream, const Port& port) const;

  // --- Telling the switch (Telling.cpp)
  bool tell();
  bool closeEntries();
  void lowerSlopes();
  bool raiseSlopes();
  bool openEntries();
  Entries::Ports wantedPorts(std::uint64_t address) const;
  ReservationResult entryIs(std::uint64_t address, const Entries::Ports& ports);

  // --- Declaring (Declaring.cpp)
  void declare();
  void touchFlipped(Port& port);
  void declareOn(Port& port);
  void declareMerged();
  void send(Port& port);
  void send(const Port& port, const Operation& operation);
  void mergeAgain(Stream& stream);
  void contribute(Stream& stream, MsrpListenerEvent before, MsrpListenerEvent after);
  void dropLeftOver();
  MsrpTalkerFailedAttribute declaredValue(const Stream& stream, const Port& port) const;

  // --- Results (StreamState.cpp)
  StreamState stateOf(const Stream& stream) const;
  StreamPortState stateOf(const Stream& stream, const Port& port) const;
  bool shown(const Stream& stream, const Port& port) const;

  // --- Telling why
  void note(const Stream& stream, const Port& port, TalkerKind before) const;
  void noteReservations() const;

  StreamForwarding& forwarding_;
  const Platform::Clock& clock_;
  Declarations& declarations_;
  std::uint64_t bridgeId_ = 0;
  bool talkerPruning_ = false;
  std::uint32_t overhead_ = kFrameOverhead;
  Seconds recovery_{30.0};

  std::vector<std::unique_ptr<Port>> ports_;  // in natural order
  std::map<StreamId, Stream> streams_;
  std::vector<std::uint32_t> free_;  // numbers of streams that are gone
  AddressBook addresses_;
  KeptStreams kept_;
  FanIn fanIn_;
  Entries entries_;
  Granting granting_{ports_, fanIn_, entries_};
  std::set<std::pair<Seconds, Stream*>> recovering_;
  std::set<std::pair<Seconds, Stream*>> repeating_;
  ChangeLimit changes_;
  std::uint64_t order_ = 0;  // of talkers and kept streams

  Accounts::Account* account_ = nullptr;
  bool unsettled_ = false;
  bool fanBlocks_ = false;  // some streams may be blocked by the fan-in limit
  std::vector<Stream*> dirty_;
  std::vector<Stream*> mergeDirty_;
  std::vector<Stream*> again_;     // with Stream::again
  std::vector<Stream*> doubtful_;  // that may have nothing left
  std::vector<Granting::Grant> opened_;
  // Of each port, what it is to declare; between declareOn and send.
  std::vector<std::vector<Operation>> operations_;
};

}  // namespace Mrp::Streams
