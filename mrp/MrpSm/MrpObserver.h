#pragma once

#include <cstdint>
#include <span>

#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/PlatformNames.h"

namespace Mrp {

// What an engine did, as facts: for counters, recorders and whoever asks why. An engine has at most
// one observer and calls it at the moment of each fact, from inside its own work: an observer calls
// neither the engine nor its service back, throws nothing and keeps no reference that it was given.
//
// Order: a frame that is received comes before the events it carries, one that is sent after them;
// an event that is received before the transitions it causes. A transition is told when the new
// state is written, before the application hears of it; so whatever is driven from inside an
// indication or a transmission is told in the order in which it happens.
class MRP_API MrpObserver {
 public:
  enum class Direction : std::uint8_t { received, sent };

  // A frame that an active engine read from a port's endpoint, good or bad, or is about to hand to
  // one. `octets` is the whole frame; of a flooded copy, what is sent.
  struct Frame {
    Direction direction;
    IntfId intf;
    EthAddr source;
    std::span<const std::uint8_t> octets;
  };

  // One attribute event of an MRPDU; `event` is an MrpThreePackedEvent 0..5, or 6 or 7, which mean
  // nothing, where a peer has packed an octet above 215. For a LeaveAll `leaveAll` is set, and key
  // and event are 0 and kLeaveAllEvent. A sent event is told when it is encoded, once for each of
  // the port's two open packets.
  struct Event {
    Direction direction;
    bool leaveAll;
    std::uint8_t event;
    MrpAttribute attribute;
  };

  enum class Machine : std::uint8_t { applicant, registrar };
  // A machine took an event. States and event are numbers of MrpApplicantState and
  // MrpApplicantEvent, or MrpRegistrarState and MrpRegistrarEvent; `from` and `to` may be equal.
  // `from` is the last `to` of the machine and attribute, but for what happens without an event:
  // both machines of a record start at VO and MT when it is new, revived, or put back to rest;
  // those of a record that an earlier engine left in the status start where that one was; a join
  // that the application discards leaves the Registrar at MT.
  struct Transition {
    Machine machine;
    std::uint8_t from;
    std::uint8_t event;
    std::uint8_t to;
    MrpAttribute attribute;
  };

  enum class Reason : std::uint8_t {
    destination,           // a frame for another address
    etherType,             // a frame of another EtherType
    standby,               // a frame in standby, of which nothing else is told
    version,               // a PDU of a version above 0: read as far as it can be
    malformed,             // a step of reading a PDU failed; what follows is dropped
    unknownApplication,    // a vector of an engine that serves neither application
    unknownAttributeType,  // a vector of a type that the application lacks
    recycled,              // events of a PDU that was injected anew, or while frames are flooded;
                           // a LeaveAll of the former, with key 0
    portClosed,            // staged events of a port that closed during its frame
    attributeLimit,        // an event beyond MrpConfig::attributeLimit
    outOfMemory,           // an event whose record could not be had
    joinDiscarded,         // the application's answer to a join indication
    noEndpoint,            // a declaration on a port without an endpoint
    noPacket,              // a declaration, or a flooded copy, for which no packet could be had
    suppressed,            // a finished packet, MrpConfig::txSuppress
  };
  // Something was not acted on. Of a frame, type and key are 0; of a vector, the key.
  struct Discard {
    Reason reason;
    MrpAttribute attribute;
  };

  enum class TimerKind : std::uint8_t { leave, explicitLeave, leaveAll };
  enum class TimerStep : std::uint8_t { armed, stopped, fired };
  // A leave timer of an attribute, or a port's LeaveAll period (type and key 0: one timer serves
  // all types). `due` is on the engine's clock; of one that is stopped or fires it is now. One that
  // is armed may be armed anew, for another time; an engine's end stops all of them untold.
  struct Timer {
    TimerKind kind;
    TimerStep step;
    MrpAttribute attribute;
    Seconds due;
  };

  // A pending change of the database became a fact.
  struct Commit {
    bool added;  // otherwise deleted
    MrpAttribute attribute;
  };

  virtual ~MrpObserver() = default;
  // Whether transitions are told that move nothing, send nothing and start no timer, by which most
  // of a refresh goes. Asked once, when an engine is given the observer.
  virtual bool wantsIdle() const { return true; }
  virtual void frame(const Frame&) {}
  virtual void event(const Event&) {}
  virtual void transition(const Transition&) {}
  virtual void discard(const Discard&) {}
  virtual void timer(const Timer&) {}
  virtual void committed(const Commit&) {}
};

// "attribute limit", "malformed": for counters and people. Valid for ever.
MRP_API const char* stringValue(MrpObserver::Reason reason);

}  // namespace Mrp
