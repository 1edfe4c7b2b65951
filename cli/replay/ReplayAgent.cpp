#include "cli/replay/ReplayAgent.h"

#include "platform/time/Clock.h"

namespace Cli {

ReplayAgent::ReplayAgent(const ApplicationInfo& info, const Platform::Clock& clock, Output& output)
    : clock_(clock), output_(output) {
  applicationIs(info.id);
  applicationMacAddrIs(info.macAddr);
  applicationEtypeIs(info.etherType);
  hasNotificationActiveIs(true);
}

bool ReplayAgent::mrpJoinIndication(const Mrp::MrpParameters& parameters) {
  indicate(true, parameters);
  return joinDiscard_;
}

void ReplayAgent::mrpLeaveIndication(const Mrp::MrpParameters& parameters) {
  indicate(false, parameters);
}

void ReplayAgent::indicate(bool join, const Mrp::MrpParameters& parameters) {
  const auto value = rxImage(parameters.attributeType);
  output_.indication(clock_.now(), {join, parameters.intfId.name(), parameters.attributeType,
                                    values().rxKey(parameters.attributeType),
                                    parameters.attributeEvent, Octets(value.begin(), value.end())});
}

}  // namespace Cli
