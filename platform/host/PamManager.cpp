#include "platform/host/PamManager.h"

namespace Platform::Host {

PamManager::PamManager(Open open, Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
                       Ptr<DeviceIntfStatusDir> devices)
    : opener_(std::move(open)),
      desired_(std::move(desired)),
      pams_(std::move(pams)),
      devices_(std::move(devices)) {
  desiredReactor_.watch<&PamManager::review>(desired_->onIntfDesired(), this);
  deviceReactor_.watch<&PamManager::review>(devices_->onDevice(), this);
}

PamManager::~PamManager() {
  open_.walk([](IntfId, Ptr<DevPam>& pam) { pam->close(); });
}

void PamManager::socketFilterIs(std::vector<FilterInstruction> program) {
  config_.filter = std::move(program);
}

void PamManager::enabledIs(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  if (enabled) {
    desired_->intfDesired().walk([this](IntfId intf, bool) { review(intf); });
  } else {
    open_.walk([this](IntfId intf, const Ptr<DevPam>&) { review(intf); });
  }
}

void PamManager::review(IntfId intf) {
  const bool wanted = enabled_ && desired_->intfDesired(intf) && devices_->deviceHas(intf);
  if (wanted == open_.has(intf)) return;
  if (wanted) {
    open(intf);
  } else {
    close(intf);
  }
}

void PamManager::open(IntfId intf) {
  const Ptr<DevPam> pam = opener_(intf, config_);
  if (!pam) return;
  open_.is(intf) = pam;
  pams_->pamIs(intf, pam);
}

void PamManager::close(IntfId intf) {
  const Ptr<DevPam> pam = *open_.find(intf);
  open_.del(intf);
  pam->close();
  pams_->pamDel(intf);
}

}  // namespace Platform::Host
