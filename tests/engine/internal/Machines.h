#pragma once

#include "mrp/MrpSm/engine/MrpPamSm.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/sm/MrpApplicantSm.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/types/MrpParseContext.h"
#include "tests/engine/Support.h"

namespace EngineTest {

// What is behind a station's face.
inline MrpSm& machines(const Station& st) { return dynamic_cast<MrpSm&>(*st.engine); }

}  // namespace EngineTest
