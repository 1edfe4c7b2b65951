#include "platform/host/Services.h"

#include "platform/host/IntfStatusRoot.h"

namespace Platform::Host {

Services::Services(Ptr<Clock> clock)
    : clock_(std::move(clock)),
      trace_(makePtr<Trace>()),
      eventLog_(makePtr<EventLogRecorder>()),
      pktAllocator_(makePtr<PktAllocator>()) {}

Services::~Services() = default;

Ptr<IntfStatusManagerRoot> Services::intfStatusManagerRoot(Ptr<IntfStatusDir> all,
                                                           Ptr<IntfStatusDir> local) {
  return makePtr<IntfStatusRoot>(std::move(all), std::move(local));
}

}  // namespace Platform::Host
