#pragma once

#include <string>

#include "agent/bridge/VlanSet.h"
#include "platform/bridging/BridgingConfig.h"
#include "platform/stp/StpStatus.h"

namespace Mrp {

// The VLANs that the spanning-tree instance of this name carries: in the spanning-tree mode
// `mode`, with VLANs assigned to instances as configured. None for a name that means nothing in
// that mode.
VlanSet vlansOfInstance(const std::string& name, std::uint32_t mode,
                        const Platform::BridgingConfig& bridging,
                        const Platform::BridgingTopologyConfig* topology);

}  // namespace Mrp
