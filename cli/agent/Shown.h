#pragma once

#include <ostream>
#include <string>

#include "agent/rpc/Message.h"
#include "cli/agent/TextTable.h"

namespace Cli {

// Prints the result of one of the agent's methods for people.
using Shown = void (*)(std::ostream& out, const Style& style, const Rpc::Json& result);

struct ShowMethod {
  const char* name;
  const char* help;
  Shown shown;
};

// What `mrp show` knows.
const ShowMethod* showMethods(std::size_t& count);

// One event of `mrp watch` in a line.
std::string eventText(const Rpc::Json& event);

// Bits a second in the largest unit that it is at least one of: "19.1 Mbit/s".
std::string rateText(std::uint64_t bitsPerSecond);
// "3 h 2 min", for a number of seconds.
std::string durationText(double seconds);

}  // namespace Cli
