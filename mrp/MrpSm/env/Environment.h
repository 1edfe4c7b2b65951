#pragma once

#include "mrp/MrpSm/MrpObserver.h"
#include "mrp/MrpSm/ValueRecords.h"
#include "mrp/types/Applications.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpCounters.h"
#include "mrp/types/MrpParseContext.h"
#include "mrp/types/MrpStatus.h"
#include "platform/log/EventLog.h"
#include "platform/log/Trace.h"
#include "platform/time/Clock.h"

namespace Mrp {

// What every room of an engine is handed: its inputs, the scratch records, and whom it tells.
// Nothing here does anything to another room.
struct Environment {
  MrpApplication application;
  const ApplicationInfo& info;  // of that application
  const MrpConfig& config;
  const MrpStatus& status;
  MrpApplicationDatabase& database;
  ValueRecords& values;
  Platform::Trace& trace;
  Platform::EventLog& eventLog;
  Platform::Clock& clock;
  // Null in standby.
  MrpParseContext* context = nullptr;
  MrpCounters* counters = nullptr;
  MrpObserver* observer = nullptr;
  bool tellsIdle = false;  // see MrpObserver::wantsIdle

  // Tells the observer, when there is one. Without one it costs a branch.
  template <class Fact>
  void observe(void (MrpObserver::*tell)(const Fact&), const Fact& fact) const {
    if (__builtin_expect(observer != nullptr, 0)) (observer->*tell)(fact);
  }
  void discarded(MrpObserver::Reason reason, const MrpAttribute& attribute) const {
    observe(&MrpObserver::discard, MrpObserver::Discard{reason, attribute});
  }
  bool observed() const { return __builtin_expect(observer != nullptr, 0); }
  // An event was encoded, a LeaveAll when it is kLeaveAllEvent. Apart from the code that encodes.
  void eventSent(const MrpAttribute& attribute, std::uint8_t event) const;
  // A machine took an event.
  template <class State, class Event>
  void moved(MrpObserver::Machine machine, State from, Event by, State to,
             const MrpAttribute& attribute) const {
    observe(&MrpObserver::transition,
            MrpObserver::Transition{machine, static_cast<std::uint8_t>(from),
                                    static_cast<std::uint8_t>(by), static_cast<std::uint8_t>(to),
                                    attribute});
  }

  // The current attribute, where the application may look at it.
  void contextIs(IntfId intf, std::uint8_t type, std::uint64_t key) const {
    context->intfIdIs(intf);
    context->attributeTypeIs(type);
    context->attributeKeyIs(key);
  }
  MrpAttribute current() const {
    return {context->intfId(), context->attributeType(), context->attributeKey()};
  }
};

// Sends what is packed. For those who only decide when.
class Outbox {
 public:
  // The open packets of one port, the first before the second; of every port that has a first one.
  virtual void flush(IntfId intf) = 0;
  virtual void flush() = 0;

 protected:
  ~Outbox() = default;
};

// Takes a frame that waits unread on a port, if there is one, before something expires.
class Inbox {
 public:
  virtual void readWaiting(IntfId intf) = 0;

 protected:
  ~Inbox() = default;
};

}  // namespace Mrp
