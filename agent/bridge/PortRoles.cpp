#include "agent/bridge/PortRoles.h"

#include <map>

namespace Mrp {
namespace {

using Platform::IntfId;
using Platform::Ptr;
using Platform::Reactor;

// What the watchers on the way down have in common: whom to tell, and the name passed last.
struct Place {
  PortRoles::Listener* const* listener;
  std::string parent;
  std::string name;

  Place below(const std::string& child) const { return {listener, name, child}; }
};

class PortWatcher {
 public:
  PortWatcher(Place place, Stp::MstiPortStatus& status)
      : place_(std::move(place)), status_(&status) {
    reactor_.watch<&PortWatcher::handleRole>(status.onRole(), this);
    handleRole();
  }
  ~PortWatcher() { tell(PortRoles::Role::none); }
  PortWatcher(const PortWatcher&) = delete;
  PortWatcher& operator=(const PortWatcher&) = delete;

 private:
  void handleRole() { tell(status_->role()); }
  void tell(PortRoles::Role role) const {
    if (*place_.listener) (*place_.listener)->handleRole(place_.parent, IntfId(place_.name), role);
  }

  Place place_;
  Ptr<Stp::MstiPortStatus> status_;
  Reactor<> reactor_;
};

// One watcher for every member of a directory.
template <class Dir, class Watcher>
class DirWatcher {
 public:
  DirWatcher(Place place, Dir& dir) : place_(std::move(place)), dir_(&dir) {
    reactor_.template watch<&DirWatcher::handleChild>(dir.onChild(), this);
    for (const auto& [name, child] : dir.children()) handleChild(name);
  }

 private:
  void handleChild(const std::string& name) {
    watchers_.erase(name);
    if (auto* child = dir_->child(name)) {
      watchers_[name] = std::make_unique<Watcher>(place_.below(name), *child);
    }
  }

  Place place_;
  Ptr<Dir> dir_;
  std::map<std::string, std::unique_ptr<Watcher>> watchers_;
  Reactor<const std::string&> reactor_;
};

using MstiWatcher = DirWatcher<Stp::MstiStatus, PortWatcher>;
using StpiWatcher = DirWatcher<Stp::StpiStatus, MstiWatcher>;

}  // namespace

struct PortRoles::Tree {
  DirWatcher<Stp::StpStatus, StpiWatcher> watcher;
};

PortRoles::PortRoles(Listener& listener, Stp::StpStatus& status)
    : status_(&status),
      listener_(std::make_unique<Listener*>(&listener)),
      tree_(new Tree{{Place{listener_.get(), {}, {}}, status}}) {}

PortRoles::~PortRoles() { *listener_ = nullptr; }

void PortRoles::repeat(IntfId intf) const {
  for (const auto& [stpiName, stpi] : status_->children()) {
    for (const auto& [mstiName, msti] : stpi->children()) {
      if (auto* port = msti->child(intf.name())) {
        (*listener_)->handleRole(mstiName, intf, port->role());
      }
    }
  }
}

}  // namespace Mrp
