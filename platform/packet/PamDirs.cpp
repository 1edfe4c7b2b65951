#include "platform/packet/PamDirs.h"

namespace Platform {

bool DesiredIntfDir::intfDesired(IntfId intf) const {
  const bool* desired = intfDesired_.find(intf);
  return desired && *desired;
}

void DesiredIntfDir::intfDesiredIs(IntfId intf, bool desired) {
  const bool* present = intfDesired_.find(intf);
  if (present && *present == desired) return;
  intfDesired_.is(intf) = desired;
  onIntfDesired_.notify(intf);
}

void DesiredIntfDir::intfDesiredDel(IntfId intf) {
  if (intfDesired_.del(intf)) onIntfDesired_.notify(intf);
}

void PamCollection::pamIs(IntfId intf, Ptr<Pam> pam) {
  Ptr<Pam>& slot = pams_.is(intf);
  if (slot == pam) return;
  slot = pam;
  onPam_.notify(intf);
}

void PamCollection::pamDel(IntfId intf) {
  if (pams_.del(intf)) onPam_.notify(intf);
}

}  // namespace Platform
