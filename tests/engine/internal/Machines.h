#pragma once

#include "mrp/MrpSm/engine/MrpSm.h"
#include "tests/engine/Support.h"

namespace EngineTest {

// What is behind a station's face.
inline MrpSm& machines(const Station& st) { return dynamic_cast<MrpSm&>(*st.engine); }

}  // namespace EngineTest
