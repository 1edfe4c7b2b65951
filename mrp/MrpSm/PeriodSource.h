#pragma once

#include "platform/Export.h"
#include "platform/time/Seconds.h"

namespace Mrp {

// Draws the LeaveAll periods of an engine (IEEE 802.1Q 10.7.4.3).
class MRP_API PeriodSource {
 public:
  virtual ~PeriodSource() = default;
  // The next period for a configured time.
  virtual Platform::Seconds leaveAllPeriod(Platform::Seconds configured) = 0;
};

// What an engine draws from unless it is given another source: 1.0 to 1.5 times the configured
// time, by the process's rand(), which nobody seeds here; the configured time itself for as long as
// DISABLE_LEAVE_ALL_RANDOMIZATION is in the environment.
MRP_API PeriodSource& processPeriods();

}  // namespace Mrp
