#pragma once

#include "platform/interface/IntfMap.h"
#include "platform/packet/Pam.h"
#include "platform/reactor/Entity.h"

namespace Platform {

// The ports on which endpoints are wanted.
class MRP_API DesiredIntfDir : public Entity {
 public:
  bool intfDesiredHas(IntfId intf) const { return intfDesired_.has(intf); }
  bool intfDesired(IntfId intf) const;
  void intfDesiredIs(IntfId intf, bool desired);
  void intfDesiredDel(IntfId intf);
  const IntfMap<bool>& intfDesired() const { return intfDesired_; }
  Signal<IntfId>& onIntfDesired() { return onIntfDesired_; }

 private:
  IntfMap<bool> intfDesired_;
  Signal<IntfId> onIntfDesired_;
};

// The endpoints that are open.
class MRP_API PamCollection : public Entity {
 public:
  Pam* pam(IntfId intf) const {
    const Ptr<Pam>* pam = pams_.find(intf);
    return pam ? pam->get() : nullptr;
  }
  void pamIs(IntfId intf, Ptr<Pam> pam);
  void pamDel(IntfId intf);
  const IntfMap<Ptr<Pam>>& pams() const { return pams_; }
  // Notified after an endpoint appeared, and after one has left.
  Signal<IntfId>& onPam() { return onPam_; }

 private:
  IntfMap<Ptr<Pam>> pams_;
  Signal<IntfId> onPam_;
};

}  // namespace Platform
