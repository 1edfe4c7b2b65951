#pragma once

#include "cli/replay/Output.h"
#include "mrp/MrpSm/MrpLib.h"

namespace Cli {

// The protocol agent of a replay: hands the engine's indications to an output.
class ReplayAgent final : public Mrp::MrpLib {
 public:
  ReplayAgent(const ApplicationInfo& info, const Platform::Clock& clock, Output& output);

  bool mrpJoinIndication(const Mrp::MrpParameters& parameters) override;
  void mrpLeaveIndication(const Mrp::MrpParameters& parameters) override;

  // Whether joins are discarded.
  void joinDiscardIs(bool discard) { joinDiscard_ = discard; }

 private:
  void indicate(bool join, const Mrp::MrpParameters& parameters);

  const Platform::Clock& clock_;
  Output& output_;
  bool joinDiscard_ = false;
};

}  // namespace Cli
