#pragma once

#include <ostream>
#include <string>

#include "cli/replay/FinalState.h"

// The decisions of a bridge in words.
namespace Cli {

// "A".
std::string className(Mrp::SrClass srClass);
// "98.752 Mb/s".
std::string rateText(Mrp::BitsPerSecond rate);
// "VLAN 2 to 91:e0:f0:00:fe:01: port2, port3".
std::string entryText(const Mrp::ReservationState& state);
// Nothing without a bridge.
void printBridge(std::ostream& out, const BridgeState& state);

}  // namespace Cli
