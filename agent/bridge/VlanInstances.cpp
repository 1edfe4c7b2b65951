#include "agent/bridge/VlanInstances.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace Mrp {
namespace {

// The number behind a prefix; none when the name is of another form.
std::optional<std::uint16_t> numbered(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix)) return std::nullopt;
  name.remove_prefix(prefix.size());
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || end != name.data() + name.size()) return std::nullopt;
  return number;
}

template <class Carries>
VlanSet vlansWhere(Carries carries) {
  VlanSet vlans;
  for (std::uint16_t vlan = kMinVlan; vlan <= kMaxVlan; ++vlan) {
    vlans.put(vlan, carries(Platform::VlanId(vlan)));
  }
  return vlans;
}

}  // namespace

VlanSet vlansOfInstance(const std::string& name, std::uint32_t mode,
                        const Platform::BridgingConfig& bridging,
                        const Platform::BridgingTopologyConfig* topology) {
  VlanSet vlans;
  switch (mode) {
    case Stp::Mode::rstp:
    case Stp::Mode::stp:
      return name == Stp::kCist ? VlanSet::all() : vlans;
    case Stp::Mode::mstp: {
      const auto number = name == Stp::kCist ? std::uint16_t{0} : numbered(name, Stp::kMst);
      if (!number || (*number == 0) != (name == Stp::kCist)) return vlans;
      return vlansWhere([&](Platform::VlanId v) {
        return (topology ? topology->instance(v) : std::uint16_t{0}) == *number;
      });
    }
    case Stp::Mode::perVlan:
      if (const auto vlan = numbered(name, Stp::kVl)) vlans.put(*vlan, true);
      return vlans;
    case Stp::Mode::backup: {
      const auto instance = numbered(name, Stp::kBkup);
      if (!instance) return vlans;
      return vlansWhere([&](Platform::VlanId v) {
        const auto* config = bridging.vlanConfig(v);
        return config && config->instance == *instance;
      });
    }
    default:
      return vlans;
  }
}

}  // namespace Mrp
