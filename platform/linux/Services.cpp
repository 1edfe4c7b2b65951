#include "platform/linux/Services.h"

#include <system_error>
#include <utility>

#include "platform/host/PamManager.h"
#include "platform/packet/GroupFilter.h"

namespace Platform::Linux {

// Shared with the managers, which may outlive the services.
struct Services::Opener : PtrInterface {
  Opener(Ptr<Loop> on, Options with)
      : loop(std::move(on)),
        options(std::move(with)),
        batch(makePtr<RxBatch>(makePtr<Host::PktAllocator>())) {}

  Ptr<Host::DevPam> open(IntfId intf, Host::PamConfig config) {
    if (options.etherType != 0) config.filter = groupFilter(config.listenAddr, options.etherType);
    try {
      const auto pam = makePtr<PacketPam>(loop, batch, intf.name(), config);
      pams.is(intf) = pam;
      return pam;
    } catch (const std::system_error& error) {
      if (options.refused) options.refused(error.what());
      return nullptr;
    }
  }

  Ptr<Loop> loop;
  Options options;
  Ptr<RxBatch> batch;
  IntfMap<Ptr<PacketPam>> pams;
};

Services::Services(Ptr<Loop> loop, Options options)
    : Host::Services(loop->clock()), opener_(makePtr<Opener>(loop, std::move(options))) {}

Services::~Services() = default;

Ptr<EthDevPamManager> Services::ethDevPamManager(Ptr<DesiredIntfDir> desired,
                                                 Ptr<PamCollection> pams,
                                                 Ptr<DeviceIntfStatusDir> devices) {
  const auto open = [opener = opener_](IntfId intf, const Host::PamConfig& config) {
    return opener->open(intf, config);
  };
  return makePtr<Host::PamManager>(open, std::move(desired), std::move(pams), std::move(devices));
}

const PacketPam* Services::pam(IntfId intf) const {
  const Ptr<PacketPam>* const pam = opener_->pams.find(intf);
  return pam ? pam->get() : nullptr;
}

}  // namespace Platform::Linux
