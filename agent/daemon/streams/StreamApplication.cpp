#include "agent/daemon/streams/StreamApplication.h"

namespace Daemon {

void StreamApplication::settingsAre(const Config& config) {
  talkerPruningIs(config.talkerPruning);
  fanInLimitIs(config.maxFanIn);
  overheadIs(config.overhead);
  recoveryIs(config.recovery > 0 ? Platform::Seconds(config.recovery) : Platform::Seconds::never());
}

bool StreamApplication::mrpJoinIndication(const Mrp::MrpParameters& parameters) {
  teller_(true, parameters);
  return MsrpBridge::mrpJoinIndication(parameters);
}

void StreamApplication::mrpLeaveIndication(const Mrp::MrpParameters& parameters) {
  teller_(false, parameters);
  MsrpBridge::mrpLeaveIndication(parameters);
}

}  // namespace Daemon
