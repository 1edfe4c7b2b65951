#pragma once

#include <span>
#include <string>

#include "agent/daemon/config/Load.h"

namespace Daemon {

inline constexpr const char* kDefaultFile = "/etc/mrp/mrp.toml";

namespace Exit {
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;         // it could not go on
inline constexpr int kConfiguration = 2;  // wrong configuration or usage
}  // namespace Exit

// The file that is meant when none is named: the default one where it is there, else none.
std::string fileMeant(const std::string& named);

// Reads the configuration and tells what it comes to, or what is wrong with it. Gives an exit
// status.
int checkConfiguration(const std::string& file, std::span<const OptionText> options);

}  // namespace Daemon
