#pragma once

#include <array>
#include <cstdint>

#include "agent/msrp/StreamForwarding.h"
#include "platform/linux/CreditShaper.h"

namespace Daemon {

using Platform::Linux::CreditShaper;

// Octets that a frame takes of the medium beside its payload: preamble 8, addresses 12, tag 4,
// type 2, check sequence 4, gap 12.
inline constexpr std::uint32_t kFrameOctets = 42;

// The shaper of a class on a port whose classes have these slopes, bit/s. Slopes are rounded so
// that what is reserved always passes, credits away from 0. docs/msrp.md has the formulas.
CreditShaper shaperOf(Mrp::SrClass srClass,
                      const std::array<Mrp::BitsPerSecond, Mrp::kSrClasses>& slopes,
                      Mrp::BitsPerSecond rate, std::uint32_t maxPayload);

}  // namespace Daemon
