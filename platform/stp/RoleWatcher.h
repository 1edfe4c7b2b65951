#pragma once

#include <string>

#include "platform/stp/StpStatus.h"

namespace Stp {

// Follows the roles of all ports in all instances of a spanning-tree status and tells a listener of
// each one that is there at first, appears or changes, and on request of role `none` when it goes.
//
// The listener may throw, change the status and destroy the watcher. Whatever it throws, watching
// goes on and the others are told; the first exception then reaches whoever called watch() or
// changed the status.
class MRP_API RoleWatcher {
 public:
  class Listener {
   public:
    // Names as in the status: "Cist", "Mst1", the interface.
    virtual void handleRole(const std::string& stpi, const std::string& msti,
                            const std::string& port, Role role) = 0;

   protected:
    ~Listener() = default;
  };
  enum class Gone { silent, tellNone };

  // The listener outlives this object and is not called before watch().
  explicit RoleWatcher(Listener& listener, Gone gone = Gone::silent);
  // Tells of nothing.
  ~RoleWatcher();
  RoleWatcher(const RoleWatcher&) = delete;
  RoleWatcher& operator=(const RoleWatcher&) = delete;

  // Follows `status` instead of an earlier one, of whose end nothing is told.
  void watch(StpStatus& status);
  // Tells of the roles that one port has now.
  void repeat(const std::string& port) const;

  // Of the nodes that watch one entity each.
  struct Audience;
  class Node;

 private:
  Ptr<Audience> audience_;
  Ptr<StpStatus> status_;
  Ptr<Node> root_;
};

}  // namespace Stp
