#pragma once

#include <ostream>
#include <string>

namespace Cli {

// Files of a dump's folder.
namespace DumpFile {
inline constexpr const char* kFrames = "frames.pcapng";
inline constexpr const char* kConfiguration = "mrp.toml";
inline constexpr const char* kAbout = "README.txt";
}  // namespace DumpFile

// Writes what the agent behind a socket has recorded into a folder, which is made. Throws BadInput
// and CommandEnd.
void dump(const std::string& socket, const std::string& folder, std::ostream& out);

}  // namespace Cli
