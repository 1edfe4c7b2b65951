#pragma once

#include <iosfwd>

namespace Sim {

// Measures how long a change takes to reach everybody while the links go on losing frames, and
// prints it as the Markdown tables of docs/reliability.md. `seeds` runs for each cell.
void table(int seeds, std::ostream& out);

}  // namespace Sim
