#pragma once

#include <memory>
#include <string>

#include "platform/interface/IntfId.h"
#include "platform/stp/StpStatus.h"

namespace Mrp {

// Follows the roles of all ports in all instances of a spanning-tree status and tells of each one
// that is there at first, appears or changes, and of role `none` when it goes. The end of this
// object tells of nothing.
class PortRoles {
 public:
  using Role = Stp::MstiPortStatus::Role;
  class Listener {
   public:
    // `msti` names the MST instance ("Cist", "Vl100").
    virtual void handleRole(const std::string& msti, Platform::IntfId intf, Role role) = 0;

   protected:
    ~Listener() = default;
  };

  PortRoles(Listener& listener, Stp::StpStatus& status);
  ~PortRoles();
  PortRoles(const PortRoles&) = delete;
  PortRoles& operator=(const PortRoles&) = delete;

  // Tells of the roles that one port has now.
  void repeat(Platform::IntfId intf) const;

 private:
  struct Tree;
  Platform::Ptr<Stp::StpStatus> status_;
  std::unique_ptr<Listener*> listener_;  // null inside while this ends
  std::unique_ptr<Tree> tree_;
};

}  // namespace Mrp
