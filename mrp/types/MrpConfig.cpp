#include "mrp/types/MrpConfig.h"

#include <array>

namespace Mrp {
namespace {

Platform::Value::Members timesOf(const Platform::IntfMap<Platform::Seconds>& map) {
  Platform::Value::Members members;
  map.walk([&](Platform::IntfId intf, Platform::Seconds time) {
    members.emplace_back(Platform::Value(intf.name()), Platform::Value(time.value()));
  });
  return members;
}

}  // namespace

Platform::Value::Members MrpConfig::intfLeaveTimes() const { return timesOf(intfLeaveTime_); }
Platform::Value::Members MrpConfig::intfLeaveAllTimes() const { return timesOf(intfLeaveAllTime_); }

void MrpConfig::recommendedLimitsAre() {
  for (const ApplicationInfo& info : kApplications) {
    for (const AttributeTypeInfo& type : info.types) {
      attributeLimitIs(info.application, type.type, type.limit);
    }
  }
}

std::span<const Platform::AttributeInfo> MrpConfig::attributeTable() {
  using A = MrpConfig;
  static constexpr std::array table{
      Platform::attribute<A, &A::leaveTime, &A::leaveTimeIs>("leaveTime"),
      Platform::attribute<A, &A::leaveAllTime, &A::leaveAllTimeIs>("leaveAllTime"),
      Platform::attribute<A, &A::leaveAllLeaveTime, &A::leaveAllLeaveTimeIs>("leaveAllLeaveTime"),
      Platform::readOnlyAttribute<A, &A::intfLeaveTimes>("intfLeaveTime"),
      Platform::readOnlyAttribute<A, &A::intfLeaveAllTimes>("intfLeaveAllTime"),
      Platform::attribute<A, &A::timersEnabled, &A::timersEnabledIs>("timersEnabled"),
      Platform::attribute<A, &A::txSuppress, &A::txSuppressIs>("txSuppress"),
      Platform::attribute<A, &A::vlanLimit, &A::vlanLimitIs>("vlanLimit"),
      Platform::attribute<A, &A::talkerAdvertiseLimit, &A::talkerAdvertiseLimitIs>(
          "talkerAdvertiseLimit"),
      Platform::attribute<A, &A::talkerFailedLimit, &A::talkerFailedLimitIs>("talkerFailedLimit"),
      Platform::attribute<A, &A::listenerLimit, &A::listenerLimitIs>("listenerLimit"),
      Platform::attribute<A, &A::domainLimit, &A::domainLimitIs>("domainLimit"),
  };
  return table;
}

}  // namespace Mrp
