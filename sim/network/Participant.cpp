#include "sim/network/Participant.h"

#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpCounters.h"
#include "mrp/types/MrpStatus.h"

namespace Sim {

using Platform::makePtr;

Ptr<Mrp::MrpLib> stationLib(Mrp::MrpApplication application) {
  Ptr<Mrp::MrpLib> lib = Mrp::mrpLibFactory();
  lib->identityIs(Mrp::applicationInfo(application));
  return lib;
}

bool Participant::malformed() const { return engine_->counters()->numOfMalformedPkts() > 0; }

void Participant::startEngine(Ptr<Mrp::MrpLib> lib, Switch& sw) {
  lib_ = std::move(lib);
  const auto config = makePtr<Mrp::MrpConfig>();
  config->recommendedLimitsAre();
  config->wholeTalkersInSequenceIs(true);
  engine_ = Mrp::engineFactory({.brConfig = sw.bridgingConfig(),
                                .mrpLib = lib_.get(),
                                .mrpConfig = config,
                                .mrpStatus = makePtr<Mrp::MrpStatus>(),
                                .stpStatus = sw.stpStatus(),
                                .brTopoConfig = sw.bridgingTopologyConfig(),
                                .ethPhyIntfStatusDir = sw.ethPhyIntfStatusDir(),
                                .entityManager = sw.stateDatabase()});
}

void Participant::endEngine() {
  engine_ = nullptr;
  lib_ = nullptr;
}

}  // namespace Sim
