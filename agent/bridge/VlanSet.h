#pragma once

#include "platform/bridging/VlanSet.h"

namespace Mrp {

using Platform::kMaxVlan;
using Platform::kMinVlan;
using Platform::VlanSet;

}  // namespace Mrp
