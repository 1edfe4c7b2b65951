#pragma once

#include "platform/embedded/EthDevBus.h"
#include "platform/embedded/EventLogRecorder.h"
#include "platform/embedded/PktAllocator.h"
#include "platform/state/EntityManager.h"

namespace Platform::Embedded {

// What one switch offers the engines that run on it.
class Services final : public PlatformServices {
 public:
  explicit Services(Ptr<Clock> clock);
  ~Services() override;

  Ptr<Clock> activityClock() override { return clock_; }
  Trace& trace() override { return *trace_; }
  EventLogRecorder& eventLog() override { return *eventLog_; }
  PktAllocator& pktManager() override { return *pktAllocator_; }
  EthDevBus& bus() { return *bus_; }

  Ptr<IntfStatusManagerRoot> intfStatusManagerRoot(Ptr<IntfStatusDir> all,
                                                   Ptr<IntfStatusDir> local) override;
  Ptr<EthDevPamManager> ethDevPamManager(Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
                                         Ptr<DeviceIntfStatusDir> devices) override;

 private:
  Ptr<Clock> clock_;
  Ptr<Trace> trace_;
  Ptr<EventLogRecorder> eventLog_;
  Ptr<PktAllocator> pktAllocator_;
  Ptr<EthDevBus> bus_;
};

}  // namespace Platform::Embedded
