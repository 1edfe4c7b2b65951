#include "platform/embedded/Services.h"

#include "platform/embedded/IntfStatusRoot.h"
#include "platform/embedded/PamManager.h"

namespace Platform::Embedded {

Services::Services(Ptr<Clock> clock)
    : clock_(std::move(clock)),
      trace_(makePtr<Trace>()),
      eventLog_(makePtr<EventLogRecorder>()),
      pktAllocator_(makePtr<PktAllocator>()),
      bus_(makePtr<EthDevBus>(clock_)) {}

Services::~Services() = default;

Ptr<IntfStatusManagerRoot> Services::intfStatusManagerRoot(Ptr<IntfStatusDir> all,
                                                           Ptr<IntfStatusDir> local) {
  return makePtr<IntfStatusRoot>(std::move(all), std::move(local));
}

Ptr<EthDevPamManager> Services::ethDevPamManager(Ptr<DesiredIntfDir> desired,
                                                 Ptr<PamCollection> pams,
                                                 Ptr<DeviceIntfStatusDir> devices) {
  return makePtr<PamManager>(bus_, std::move(desired), std::move(pams), std::move(devices));
}

}  // namespace Platform::Embedded
