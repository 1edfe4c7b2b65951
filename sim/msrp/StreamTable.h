#pragma once

#include <iosfwd>

namespace Sim {

// The same as `table` for streams: until bandwidth is reserved from end to end and the talker
// knows.
void streamTable(int seeds, std::ostream& out);

}  // namespace Sim
