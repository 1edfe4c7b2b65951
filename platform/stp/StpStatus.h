#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/bridging/VlanId.h"
#include "platform/reactor/Entity.h"

// Spanning-tree status: instances, the MST instances in each, and the ports in those.
namespace Stp {

using Platform::Entity;
using Platform::Ptr;
using Platform::Signal;

// Role of a port in one MST instance.
class MRP_API MstiPortStatus : public Entity {
 public:
  enum class Role : std::uint32_t { none = 0, root = 1, designated = 2, alternate = 3, backup = 4 };
  Role role() const { return role_; }
  void roleIs(Role role);
  Signal<>& onRole() { return onRole_; }

 private:
  Role role_ = Role::none;
  Signal<> onRole_;
};

using Role = MstiPortStatus::Role;

// An entity that holds entities of one kind by name.
template <class Child>
class StatusDir : public Entity {
 public:
  Child* child(const std::string& name) const {
    auto it = children_.find(name);
    return it == children_.end() ? nullptr : it->second.get();
  }
  // The child of this name. Where there is none, `made` becomes it, or a new one; watchers see it
  // as it is when it appears.
  Child& childIs(const std::string& name, Ptr<Child> made = nullptr) {
    if (Child* present = child(name)) return *present;
    if (!made) made = Platform::makePtr<Child>();
    children_[name] = made;
    onChild_.notify(name);
    return *made;
  }
  void childDel(const std::string& name) {
    if (children_.erase(name)) onChild_.notify(name);
  }
  const std::map<std::string, Ptr<Child>>& children() const { return children_; }
  // Notified after a child appeared, and after one has left.
  Signal<const std::string&>& onChild() { return onChild_; }

 private:
  std::map<std::string, Ptr<Child>> children_;
  Signal<const std::string&> onChild_;
};

// Ports of one MST instance, keyed by interface name.
class MstiStatus : public StatusDir<MstiPortStatus> {};
// MST instances of one spanning-tree instance.
class StpiStatus : public StatusDir<MstiStatus> {};

// Spanning-tree instances of the switch, and the mode it runs in.
class MRP_API StpStatus : public StatusDir<StpiStatus> {
 public:
  std::uint32_t mode() const { return mode_; }
  void modeIs(std::uint32_t mode) { mode_ = mode; }

 private:
  std::uint32_t mode_ = 0;
};

// Values of StpStatus::mode.
namespace Mode {
inline constexpr std::uint32_t mstp = 0;
inline constexpr std::uint32_t rstp = 2;
inline constexpr std::uint32_t stp = 3;
inline constexpr std::uint32_t backup = 100;
inline constexpr std::uint32_t perVlan = 101;
inline constexpr std::uint32_t none = 0xFFFFFFFF;
}  // namespace Mode

// Names of the instances: the common and internal spanning tree, none at all, and the prefixes of
// MST instances, backup instances and per-VLAN instances, which their number follows.
inline const std::string kCist = "Cist";
inline const std::string kMst = "Mst";
inline const std::string kNoStp = "NoStp";
inline const std::string kBkup = "Bkup";
inline const std::string kVl = "Vl";
// The same for an MST instance as a format, and the prefix of network namespaces' interfaces.
inline constexpr const char* kMstFormat = "Mst%d";
inline const std::string kNs = "ns-";

// Name of the spanning-tree instance that serves one VLAN in per-VLAN mode: "Vl" and the number.
MRP_API std::string perVlanInstanceName(Platform::VlanId vlan);

}  // namespace Stp
