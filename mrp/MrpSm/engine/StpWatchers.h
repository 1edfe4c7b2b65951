#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/stp/StpStatus.h"

namespace Mrp {

class MrpSm;

// Names that lead from the spanning-tree status to the object watched: spanning-tree instance, MST
// instance, port.
struct StpPath {
  MrpSm* mrpSm = nullptr;
  std::vector<std::string> names;

  StpPath below(const std::string& name) const {
    StpPath path = *this;
    path.names.push_back(name);
    return path;
  }
};

// Watches the role of one port in one MST instance; reports the role it finds at first, too.
class MstiPortStatusSm {
 public:
  MstiPortStatusSm(StpPath path, Stp::MstiPortStatus& status);

 private:
  void handleRole();

  StpPath path_;
  Platform::Ptr<Stp::MstiPortStatus> status_;
  Platform::Reactor<> roleReactor_;
};

// Keeps one watcher for every member of a status directory, those present at first included.
template <class Dir, class Watcher>
class StatusDirSm {
 public:
  StatusDirSm(StpPath path, Dir& dir) : path_(std::move(path)), dir_(&dir) {
    reactor_.template watch<&StatusDirSm::handleChild>(dir.onChild(), this);
    for (const auto& [name, child] : dir.children()) handleChild(name);
  }
  void delAll() { watchers_.clear(); }

 private:
  void handleChild(const std::string& name) {
    watchers_.erase(name);
    if (auto* child = dir_->child(name)) {
      watchers_[name] = std::make_unique<Watcher>(path_.below(name), *child);
    }
  }

  StpPath path_;
  Platform::Ptr<Dir> dir_;
  std::map<std::string, std::unique_ptr<Watcher>> watchers_;
  Platform::Reactor<const std::string&> reactor_;
};

// The chain: spanning-tree status, instances, MST instances, ports.
using MstiStatusSm = StatusDirSm<Stp::MstiStatus, MstiPortStatusSm>;
using StpiStatusSm = StatusDirSm<Stp::StpiStatus, MstiStatusSm>;
using StpStatusSm = StatusDirSm<Stp::StpStatus, StpiStatusSm>;

}  // namespace Mrp
