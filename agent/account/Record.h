#pragma once

#include <cstdint>

#include "mrp/MrpSm/MrpObserver.h"

// What an engine and its bridge did, as records that name their cause.
namespace Mrp::Accounts {

// The number of a record: 1 for the first one of an account, and so on. 0: none.
using Number = std::uint64_t;

// What a record tells of, and what its members hold then; those that are not named are 0. Numbers
// are kept in files: a new kind stands at the end.
enum class Kind : std::uint8_t {
  none,
  frameReceived,     // key: number of the frame; detail: its source and length
  frameSent,         // the same; the number counts sent frames
  leaveAllReceived,  // of a type
  leaveAllSent,      // of a type, when it is put into a packet
  applicant,         // event: MrpApplicantEvent; from, to: MrpApplicantState
  registrar,   // event: MrpRegistrarEvent; from, to: MrpRegistrarState; detail: when the leave
               // timer that it started is due (engine's clock, nanoseconds), 0 for none
  discard,     // event: MrpObserver::Reason; of a frame, type and key are 0
  timerArmed,  // event: MrpObserver::TimerKind; detail: when it is due
  timerFired,  // the same; a LeaveAll timer has type and key 0
  timerStopped,
  committed,     // event: 1 added, 0 deleted
  request,       // event: Verb; to: By; detail: user and place
  role,          // event: number of the role that the port has from now on
  port,          // event: PortChange
  activation,    // the engine went to work
  setting,       // event: Setting; key: its new value; by whom as of a request
  contribution,  // of the whole bridge: what the port whose number is the detail has registered is
                 // passed on to the others (event 1), or no more
  propagation,   // declared on the port (event 1), or withdrawn, since other ports contribute
  decision,      // of a stream (key) on the port; type: StreamType; event: failure code;
                 // from, to: declared before and now (TalkerKind); detail: what it needs, bit/s
  figures,       // of the decision that is its cause; key: allowed, detail: in use, bit/s
  reservation,   // of a stream on the port; event: 1 opened, 0 closed
  listener,      // declared towards the talker; event: MsrpListenerEvent, 0 withdrawn
  recovery,      // of the whole bridge: the time for which a stream whose talker changed fails is
                 // over
};

// What a request asks for.
enum class Verb : std::uint8_t {
  declare,
  withdraw,
  normal,  // registrations of the attribute are taken as they come
  fixed,
  forbidden,
  leaveAll,  // a LeaveAll on the port
  remove,    // the attribute is dropped without a word to the neighbour
  restored,  // a registration of an earlier life is taken up
};

// Who asks: the application over the engine, which has no further reason; the configuration; a
// command, by a user; a line of a scenario.
enum class By : std::uint8_t { application, configuration, command, scenario };

// Opened and closed is its endpoint, by which frames come and go.
enum class PortChange : std::uint8_t { added, removed, enabled, disabled, opened, closed };

enum class Setting : std::uint8_t { other, portEnabled };

// A change of role that the caller has not told; the engine's events show that there was one.
constexpr std::uint8_t kUntoldRole = 0xFF;

constexpr std::uint32_t kNobody = 0xFFFFFFFF;

// One fact. Trivial, so that a ring of them is plain memory.
struct Record {
  Number number;
  std::int64_t time;     // on the engine's clock, nanoseconds
  std::uint64_t key;     // of the attribute
  std::uint64_t detail;  // see Kind
  std::uint32_t back;    // how many records before this one its cause is; 0: none
  std::uint32_t chain;   // the same of an earlier record that may be of this attribute
  std::uint32_t port;    // number of an IntfId, see Account::port
  Kind kind;
  std::uint8_t type;   // of the attribute; 0: none
  std::uint8_t event;  // see Kind
  std::uint8_t states;

  // The record that caused this one. Whether it is still there the account knows.
  Number cause() const { return back == 0 ? 0 : number - back; }
  std::uint8_t from() const { return states & 15; }
  std::uint8_t to() const { return states >> 4; }
  Platform::Seconds at() const { return Platform::Seconds::fromNanoseconds(time); }
  // Of kinds whose detail is a time.
  Platform::Seconds due() const {
    return Platform::Seconds::fromNanoseconds(static_cast<std::int64_t>(detail));
  }
  // Of a frame.
  Platform::EthAddr source() const { return Platform::EthAddr::fromNumber(detail >> 16); }
  std::uint16_t length() const { return static_cast<std::uint16_t>(detail); }
  // Of a request or a setting: the user, and the process or the line; kNobody where unknown.
  std::uint32_t user() const { return static_cast<std::uint32_t>(detail >> 32); }
  std::uint32_t place() const { return static_cast<std::uint32_t>(detail); }
  By by() const { return static_cast<By>(to()); }

  bool of(std::uint32_t intf, std::uint8_t attributeType, std::uint64_t attributeKey) const {
    return port == intf && type == attributeType && key == attributeKey;
  }
};

static_assert(sizeof(Record) <= 48, "a record is to take 48 octets at most");

// "frame received", "registrar": for programs and people. Valid for ever.
const char* stringValue(Kind kind);

// Whether a record of this kind is a reason by itself: where a chain of causes may begin.
constexpr bool isFirstCause(Kind kind) {
  switch (kind) {
    case Kind::frameReceived:
    case Kind::request:
    case Kind::role:
    case Kind::port:
    case Kind::activation:
    case Kind::setting:
    case Kind::recovery:
      return true;
    default:
      return false;
  }
}

}  // namespace Mrp::Accounts
