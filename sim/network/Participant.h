#pragma once

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "sim/network/Fabric.h"

namespace Sim {

// What a station's engine serves: a plain service object of an application.
Ptr<Mrp::MrpLib> stationLib(Mrp::MrpApplication application);

// An application of a node that is an engine and the service object it serves.
class Participant : public Application {
 public:
  ~Participant() override { endEngine(); }

  // Whether its engine met an MRPDU that it could not read.
  bool malformed() const;

 protected:
  void startEngine(Ptr<Mrp::MrpLib> lib, Switch& sw);
  // For those that own what the service object works on: at the latest before that ends.
  void endEngine();
  Mrp::MrpLib& lib() const { return *lib_; }
  const Mrp::Engine& engine() const { return *engine_; }

 private:
  Ptr<Mrp::MrpLib> lib_;
  Ptr<Mrp::Engine> engine_;
};

}  // namespace Sim
