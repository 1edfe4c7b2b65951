#pragma once

#include <ostream>

#include "agent/rpc/Message.h"
#include "cli/agent/TextTable.h"

namespace Cli {

// Answers to `mrp why` for people.
void printAnswers(std::ostream& out, const Style& style, const Rpc::Json& result);

}  // namespace Cli
