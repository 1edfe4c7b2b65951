#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/mvrp/VlanSet.h"

namespace Daemon {

// VLANs as people and programs write them: "7" or "20-29", 1 to 4094, the first not above the last.
std::optional<Mrp::VlanSet> vlansFrom(std::string_view range);
// Several of them with commas between, at least one.
std::optional<Mrp::VlanSet> vlansFromList(std::string_view list);

// The shortest list of numbers and ranges, ascending.
std::vector<std::string> rangesOf(const Mrp::VlanSet& vlans);
// The same in one text, ", " between; empty for no VLAN.
std::string rangesText(const Mrp::VlanSet& vlans);

}  // namespace Daemon
