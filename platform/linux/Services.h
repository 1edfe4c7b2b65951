#pragma once

#include <functional>
#include <string>

#include "platform/host/Services.h"
#include "platform/interface/IntfMap.h"
#include "platform/linux/PacketPam.h"

namespace Platform::Linux {

// What this host offers one engine. Its endpoints are packet sockets.
class Services final : public Host::Services {
 public:
  struct Options {
    // Of the engine's application. The socket filter that an engine asks for is that of the first
    // engine of the process, so a filter is made for this EtherType and the listen address instead;
    // with 0 it is what the engine asks for.
    std::uint16_t etherType = 0;
    // Told of an endpoint that could not be opened, and why.
    std::function<void(const std::string& text)> refused;
  };

  Services(Ptr<Loop> loop, Options options);
  ~Services() override;

  Ptr<EthDevPamManager> ethDevPamManager(Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
                                         Ptr<DeviceIntfStatusDir> devices) override;

  // The endpoint that was opened last on a port, open or not; null when none was.
  const PacketPam* pam(IntfId intf) const;

 private:
  struct Opener;
  Ptr<Opener> opener_;
};

}  // namespace Platform::Linux
