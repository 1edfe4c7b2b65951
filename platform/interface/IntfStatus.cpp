#include "platform/interface/IntfStatus.h"

namespace Platform {

void DeviceIntfStatusDir::deviceIs(IntfId intf) {
  if (devices_.has(intf)) return;
  devices_.is(intf, true);
  onDevice_.notify(intf);
}

void DeviceIntfStatusDir::deviceDel(IntfId intf) {
  if (devices_.del(intf)) onDevice_.notify(intf);
}

}  // namespace Platform
