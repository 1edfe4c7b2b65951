#include "platform/stp/RoleWatcher.h"

#include <array>
#include <exception>
#include <map>
#include <utility>

#include "platform/reactor/Collection.h"

namespace Stp {
namespace {

using Platform::makePtr;
using Platform::PtrInterface;
using Platform::Reactor;

// The first exception of several calls, raised when all of them have been made.
class FirstError {
 public:
  template <class Call>
  void catchIn(Call call) {
    try {
      call();
    } catch (...) {
      if (!error_) error_ = std::current_exception();
    }
  }
  void raise() const {
    if (error_) std::rethrow_exception(error_);
  }

 private:
  std::exception_ptr error_;
};

}  // namespace

// Whom the nodes tell. Nobody once the watcher has gone.
struct RoleWatcher::Audience : PtrInterface {
  Audience(Listener& to, Gone when) : listener(&to), gone(when) {}

  Listener* listener;
  Gone gone;
};

// Watches one entity. It is in its place before it tells of anything, and counted so that it
// survives its removal from inside what it tells.
class RoleWatcher::Node : public PtrInterface {
 public:
  virtual void begin(FirstError& error) = 0;
  virtual void end(FirstError& error) = 0;
};

namespace {

struct Place {
  Ptr<RoleWatcher::Audience> audience;
  std::array<std::string, 3> names{};  // from the spanning-tree instance down
  std::size_t depth = 0;

  Place below(const std::string& name) const {
    Place place = *this;
    place.names[place.depth++] = name;
    return place;
  }
  void tell(Role role, FirstError& error) const {
    if (!audience->listener) return;
    error.catchIn([&] { audience->listener->handleRole(names[0], names[1], names[2], role); });
  }
};

class PortNode final : public RoleWatcher::Node {
 public:
  PortNode(Place place, MstiPortStatus& status) : place_(std::move(place)), status_(&status) {
    reactor_.watch<&PortNode::handleRole>(status.onRole(), this);
  }

  void begin(FirstError& error) override { place_.tell(status_->role(), error); }
  void end(FirstError& error) override {
    reactor_.unwatch();
    if (place_.audience->gone == RoleWatcher::Gone::tellNone) place_.tell(Role::none, error);
  }

 private:
  void handleRole() {
    const Ptr<PortNode> keep(this);
    FirstError error;
    begin(error);
    error.raise();
  }

  Place place_;
  Ptr<MstiPortStatus> status_;
  Reactor<> reactor_;
};

template <class Dir, class Child>
class DirNode final : public RoleWatcher::Node {
 public:
  DirNode(Place place, Dir& dir) : place_(std::move(place)), dir_(&dir) {
    reactor_.template watch<&DirNode::handleChild>(dir.onChild(), this);
  }

  void begin(FirstError& error) override {
    Platform::walkOrdered(dir_->children(),
                          [&](const std::string& name, const auto&) { add(name, error); });
  }
  void end(FirstError& error) override {
    reactor_.unwatch();
    for (const auto& [name, node] : std::exchange(nodes_, {})) node->end(error);
  }

 private:
  void handleChild(const std::string& name) {
    const Ptr<DirNode> keep(this);
    FirstError error;
    if (const auto it = nodes_.find(name); it != nodes_.end()) {
      const Ptr<Child> gone = it->second;
      nodes_.erase(it);
      gone->end(error);
    }
    add(name, error);
    error.raise();
  }
  // Nothing happens when the child is watched already: an earlier report may have led here.
  void add(const std::string& name, FirstError& error) {
    auto* const child = dir_->child(name);
    if (!child || !reactor_.watching() || nodes_.contains(name)) return;
    const auto node = makePtr<Child>(place_.below(name), *child);
    nodes_[name] = node;
    node->begin(error);
  }

  Place place_;
  Ptr<Dir> dir_;
  std::map<std::string, Ptr<Child>> nodes_;
  Reactor<const std::string&> reactor_;
};

using MstiNode = DirNode<MstiStatus, PortNode>;
using StpiNode = DirNode<StpiStatus, MstiNode>;
using StpNode = DirNode<StpStatus, StpiNode>;

}  // namespace

RoleWatcher::RoleWatcher(Listener& listener, Gone gone)
    : audience_(makePtr<Audience>(listener, gone)) {}

RoleWatcher::~RoleWatcher() { audience_->listener = nullptr; }

void RoleWatcher::watch(StpStatus& status) {
  Listener& listener = *std::exchange(audience_->listener, nullptr);
  audience_ = makePtr<Audience>(listener, audience_->gone);
  status_ = &status;
  const Ptr<Node> root = makePtr<StpNode>(Place{audience_}, status);
  root_ = root;
  FirstError error;
  root->begin(error);
  error.raise();
}

void RoleWatcher::repeat(const std::string& port) const {
  if (!status_) return;
  const Ptr<Audience> audience = audience_;
  FirstError error;
  Platform::walkOrdered(status_->children(), [&](const std::string& stpiName,
                                                 Ptr<StpiStatus> stpi) {
    Platform::walkOrdered(stpi->children(), [&](const std::string& mstiName, Ptr<MstiStatus> msti) {
      auto* const status = msti->child(port);
      if (status) Place{audience, {stpiName, mstiName, port}, 3}.tell(status->role(), error);
    });
  });
  error.raise();
}

}  // namespace Stp
