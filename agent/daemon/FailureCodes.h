#pragma once

#include <cstdint>

namespace Daemon {

// What a failure code means (IEEE 802.1Q-2018 table 35-6); "unknown" for one that has no meaning
// there.
const char* failureText(std::uint8_t code);

}  // namespace Daemon
