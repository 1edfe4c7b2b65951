#pragma once

#include <optional>
#include <string>

#include "platform/time/Seconds.h"

namespace Daemon {

// Tells the service manager ("READY=1"), when NOTIFY_SOCKET says where it is.
void notifyManager(const std::string& state);

// How often it wants to hear WATCHDOG=1, when it does: half of what it allows.
std::optional<Platform::Seconds> watchdogInterval();

}  // namespace Daemon
