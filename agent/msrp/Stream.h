#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

#include "agent/bridge/VlanSet.h"
#include "agent/msrp/Bandwidth.h"
#include "agent/msrp/ListenerMerge.h"
#include "agent/msrp/StreamForwarding.h"
#include "mrp/MrpMsrp/MsrpValues.h"
#include "platform/time/Seconds.h"

// What the bridge of MSRP keeps of ports and streams. Plain data: who changes it is
// StreamPropagation.
namespace Mrp::Streams {

using Platform::IntfId;
using Platform::Seconds;
using StreamId = std::uint64_t;

struct Stream;

// Which of two reservations gives way (IEEE 802.1Q-2018 35.2.4.1): the lesser one is the more
// important. Rank 0 comes before 1, then what has been forwarded longer, then the lower identifier.
struct Importance {
  std::uint8_t rank = 1;
  Seconds since = Seconds::never();  // never: not forwarded
  StreamId id = 0;

  friend auto operator<=>(const Importance&, const Importance&) = default;
};

// What a stream's place on a port is: nothing, waiting to be granted, granted.
enum class Place : std::uint8_t { none, waiting, granted };

// One stream on one port. There are as many of them as streams times ports.
struct Fate {
  std::uint16_t declaredBits : 2 = 0;
  std::uint16_t listenerBits : 2 = 0;
  std::uint16_t placeBits : 2 = 0;
  // Of a failure declared here: the code, or kAsReceived.
  std::uint16_t code : 5 = 0;
  std::uint16_t refusal : 2 = 0;     // the switch's ReservationResult, ok when it was not asked
  std::uint16_t hasLatency : 1 = 0;  // it was declared, with a latency that may not rise
  std::uint16_t preempted : 1 = 0;
  std::uint16_t touched : 1 = 0;

  static constexpr std::uint16_t kAsReceived = 31;

  TalkerKind declared() const { return static_cast<TalkerKind>(declaredBits); }
  void declaredIs(TalkerKind kind) { declaredBits = static_cast<std::uint16_t>(kind) & 3; }
  MsrpListenerEvent listener() const { return static_cast<MsrpListenerEvent>(listenerBits); }
  void listenerIs(MsrpListenerEvent event) { listenerBits = static_cast<std::uint16_t>(event) & 3; }
  Place place() const { return static_cast<Place>(placeBits); }
  void placeIs(Place place) { placeBits = static_cast<std::uint16_t>(place) & 3; }
  bool wanted() const {
    return listener() == MsrpListenerEvent::ready || listener() == MsrpListenerEvent::readyFailed;
  }
};
static_assert(sizeof(Fate) == 2);

struct Port {
  explicit Port(IntfId of) : intf(of) {}

  // --- Given
  IntfId intf;
  std::size_t index = 0;  // in natural order
  bool open = false;
  VlanSet forwards;
  StreamPort settings;
  // Priority that the neighbour's domain gives each class; none without a domain.
  std::array<std::optional<std::uint8_t>, kSrClasses> domain{};

  // --- Decided
  PortBandwidth bandwidth;
  std::vector<Fate> fates;  // by Stream::number
  // This port's share of each stream's accumulated latency when it was first declared, nanoseconds;
  // by Stream::number. Empty as long as that is what the port adds now, see firstLatency().
  std::vector<std::uint32_t> firstLatencies;

  // --- As the switch was told
  std::array<bool, kSrClasses> boundary{true, true};
  std::array<BitsPerSecond, kSrClasses> slope{};

  // --- Until the next settlement
  bool changed = false;           // every stream is to be looked at
  bool contended = false;         // who is granted is to be decided
  bool released = false;          // there may be room for streams that wait
  bool anew = false;              // those granted now are to be granted again, too
  std::vector<Stream*> touched;   // streams to be looked at
  std::vector<Stream*> arriving;  // that wait since the last decision
  // As they were when what every stream without a reservation declares was decided last.
  std::array<std::array<Available, kSrClasses>, PortBandwidth::kRanks> available{};
  std::array<std::uint32_t, kSrClasses> latency{};

  bool boundaryOf(SrClass c) const {
    return !open || !settings.capable || domain[indexOf(c)] != infoOf(c).priority;
  }
  bool mismatch(SrClass c) const {
    return domain[indexOf(c)] && *domain[indexOf(c)] != infoOf(c).priority;
  }
};

// A talker's registration on a port. The failure information is that of a Talker Failed.
struct TalkerRegistration {
  Port* port;
  std::uint64_t since = 0;  // when it began to take part, in order; 0 while it does not
  bool failed;
  MsrpTalkerFailedAttribute value;

  const MsrpTalkerAdvertiseAttribute& talker() const { return value.talkerAdvertiseAttribute; }
};

// What a stream's reservations are counted by.
struct Booking {
  std::optional<SrClass> srClass;
  std::uint8_t rank = 1;
  BitsPerSecond need = 0;
  std::uint64_t address = 0;  // VLAN and destination address in one number; 0 is none
  Port* in = nullptr;         // the talker's port

  friend bool operator==(const Booking&, const Booking&) = default;
};

constexpr std::uint64_t addressOf(const MsrpTalkerAdvertiseAttribute& v) {
  return std::uint64_t{v.frame.vlanId} << 48 | v.frame.dmac.number();
}

struct Stream {
  explicit Stream(StreamId of) : id(of) {}

  StreamId id;
  std::uint32_t number = 0;  // its place in the tables of the ports
  ListenerCounts counts;
  MsrpListenerEvent merged = MsrpListenerEvent::ignore;  // declared on `mergedOn`
  std::uint8_t verdict = 0;  // of the checks that concern the whole bridge, see Checks.h
  bool kept = false;
  bool ownsAddress = false;
  bool fanBlocked = false;
  bool dirty = false;
  bool again = false;  // what is declared of it has another value now
  bool mergeDirty = false;
  bool repeatMerged = false;                // say `merged` again
  bool repeatPending = false;               // not before `repeatAt`
  std::vector<TalkerRegistration> talkers;  // of every port that has one
  Port* in = nullptr;                       // the talker's port, if one takes part
  std::uint64_t address = 0;                // queued for in the address book
  std::uint64_t addressOrder = 0;           // its place in that queue
  std::uint64_t keptOrder = 0;              // 0: not among the kept streams
  Port* mergedOn = nullptr;
  Seconds repeatAt;
  Seconds changedAt = Seconds::never();  // FirstValue changed; never: it did not
  Booking booked;

  const TalkerRegistration* talker() const { return on(in); }
  const TalkerRegistration* on(const Port* port) const {
    for (const TalkerRegistration& t : talkers) {
      if (t.port == port) return &t;
    }
    return nullptr;
  }
  Fate& fate(Port& port) const { return port.fates[number]; }
  const Fate& fate(const Port& port) const { return port.fates[number]; }
};

}  // namespace Mrp::Streams
