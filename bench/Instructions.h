#pragma once

#include <string>

#include "bench/Report.h"

// Instructions for an attribute are the same on every machine, and a stored table of them finds
// what got slower where times cannot.
namespace Bench {

// Names on the standard error stream the rows that were counted and differ from the table by more
// than 3 per cent, and by more than an instruction; when `all` rows were counted, those too that
// one side lacks. False when there are any.
bool sameInstructions(const Report& report, const std::string& table, bool all);

void storeInstructions(const Report& report, const std::string& table);

}  // namespace Bench
