#pragma once

#include "platform/host/EventLogRecorder.h"
#include "platform/host/PktAllocator.h"
#include "platform/state/EntityManager.h"

namespace Platform::Host {

// The services that are the same on every platform in a process; endpoints are left to each.
class Services : public PlatformServices {
 public:
  explicit Services(Ptr<Clock> clock);
  ~Services() override;

  Ptr<Clock> activityClock() override { return clock_; }
  Trace& trace() override { return *trace_; }
  EventLogRecorder& eventLog() override { return *eventLog_; }
  PktAllocator& pktManager() override { return *pktAllocator_; }
  Ptr<IntfStatusManagerRoot> intfStatusManagerRoot(Ptr<IntfStatusDir> all,
                                                   Ptr<IntfStatusDir> local) override;

 private:
  Ptr<Clock> clock_;
  Ptr<Trace> trace_;
  Ptr<EventLogRecorder> eventLog_;
  Ptr<PktAllocator> pktAllocator_;
};

}  // namespace Platform::Host
