#pragma once

namespace Daemon {

inline constexpr const char* kVersion = "0.1.0";

}  // namespace Daemon
