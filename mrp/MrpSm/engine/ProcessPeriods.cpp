#include <cstdlib>

#include "mrp/MrpSm/PeriodSource.h"

namespace Mrp {
namespace {

class ProcessPeriods final : public PeriodSource {
 public:
  // The factor is computed in single precision and the product in double: part of the behaviour.
  Platform::Seconds leaveAllPeriod(Platform::Seconds configured) override {
    if (std::getenv("DISABLE_LEAVE_ALL_RANDOMIZATION")) return configured;
    const float factor = 1.0f + static_cast<float>(std::rand()) * 0x1p-32f;
    return Platform::Seconds(configured.value() * static_cast<double>(factor));
  }
};

}  // namespace

PeriodSource& processPeriods() {
  static ProcessPeriods periods;
  return periods;
}

}  // namespace Mrp
