#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/packet/SocketFilter.h"
#include "platform/state/EntityManager.h"

namespace Daemon {

// Accepts frames to `address` whose EtherType is `etherType`, directly or behind one IEEE 802.1Q
// tag.
std::vector<Platform::FilterInstruction> ownFilter(Platform::EthAddr address,
                                                   std::uint16_t etherType);

// The services of a platform as one engine of several sees them: a trace and an event log of its
// own, and endpoints that filter for its own frames. (The engine's own filter is one for the
// process: that of the first application.)
class EngineServices final : public Platform::PlatformServices {
 public:
  // Hears the engine's event log.
  class LogListener {
   public:
    // False: nobody would, and it need not be put into words.
    virtual bool listens() const = 0;
    virtual void logged(std::string_view handle, const std::string& text) = 0;

   protected:
    ~LogListener() = default;
  };

  // The listener outlives this.
  EngineServices(Platform::Ptr<Platform::PlatformServices> inner, std::uint16_t etherType,
                 LogListener& events);
  ~EngineServices() override;

  Platform::Ptr<Platform::Clock> activityClock() override { return inner_->activityClock(); }
  Platform::Trace& trace() override { return *trace_; }
  Platform::EventLog& eventLog() override { return *eventLog_; }
  Platform::PktManager& pktManager() override { return inner_->pktManager(); }
  Platform::Ptr<Platform::IntfStatusManagerRoot> intfStatusManagerRoot(
      Platform::Ptr<Platform::IntfStatusDir> all,
      Platform::Ptr<Platform::IntfStatusDir> local) override {
    return inner_->intfStatusManagerRoot(all, local);
  }
  Platform::Ptr<Platform::EthDevPamManager> ethDevPamManager(
      Platform::Ptr<Platform::DesiredIntfDir> desired, Platform::Ptr<Platform::PamCollection> pams,
      Platform::Ptr<Platform::DeviceIntfStatusDir> devices) override;

 private:
  Platform::Ptr<Platform::PlatformServices> inner_;
  std::uint16_t etherType_;
  Platform::Ptr<Platform::Trace> trace_;
  Platform::Ptr<Platform::EventLog> eventLog_;
};

}  // namespace Daemon
