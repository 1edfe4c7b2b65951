#pragma once

#include "platform/interface/IntfId.h"
#include "platform/packet/EthAddr.h"
#include "platform/packet/Pkt.h"
#include "platform/reactor/Ptr.h"
#include "platform/time/Seconds.h"

// The platform's value types that the engine speaks in everywhere.
namespace Mrp {

using Platform::EthAddr;
using Platform::IntfId;
using Platform::Pkt;
using Platform::Ptr;
using Platform::Seconds;

}  // namespace Mrp
