#pragma once

#include <cstdint>
#include <string>

#include "platform/interface/IntfMap.h"
#include "platform/packet/EthAddr.h"
#include "platform/reactor/Entity.h"

namespace Platform {

// Largest payload of a port, in octets.
struct IntfStatus {
  std::uint32_t mtu = 1500;
};

// Directory of the status of ports; one that holds all of them, one that holds the local ones.
class MRP_API IntfStatusDir : public Entity {
 public:
  const IntfStatus* intfStatus(IntfId intf) const { return status_.find(intf); }
  void intfStatusIs(IntfId intf, const IntfStatus& status) { status_.is(intf) = status; }
  void intfStatusDel(IntfId intf) { status_.del(intf); }
  const IntfMap<IntfStatus>& intfStatus() const { return status_; }

 private:
  IntfMap<IntfStatus> status_;
};

struct EthPhyIntfStatus {
  EthAddr addr;
};

// Directory of the Ethernet ports and their own MAC addresses.
class MRP_API EthPhyIntfStatusDir : public Entity {
 public:
  const EthPhyIntfStatus* ethPhyIntfStatus(IntfId intf) const { return status_.find(intf); }
  void ethPhyIntfStatusIs(IntfId intf, const EthPhyIntfStatus& status) {
    status_.is(intf) = status;
  }
  void ethPhyIntfStatusDel(IntfId intf) { status_.del(intf); }

 private:
  IntfMap<EthPhyIntfStatus> status_;
};

// The network devices that exist in one network namespace.
class MRP_API DeviceIntfStatusDir : public Entity {
 public:
  bool deviceHas(IntfId intf) const { return devices_.has(intf); }
  void deviceIs(IntfId intf);
  void deviceDel(IntfId intf);
  Signal<IntfId>& onDevice() { return onDevice_; }

 private:
  IntfMap<bool> devices_;
  Signal<IntfId> onDevice_;
};

// Root of the interface-status managers, one a network namespace.
class MRP_API IntfStatusManagerRoot : public Entity {
 public:
  // Creates the manager of a namespace; nothing happens when it exists.
  virtual void intfStatusManagerIs(const std::string& ns) = 0;
  virtual bool intfStatusManagerHas(const std::string& ns) const = 0;
};

}  // namespace Platform
