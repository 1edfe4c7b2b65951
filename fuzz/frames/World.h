#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "fuzz/frames/Input.h"
#include "fuzz/frames/SentFrame.h"
#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/engine/MrpPamSm.h"
#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/rx/ParsedAttributes.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpParseContext.h"
#include "mrp/types/MrpStatus.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

namespace Fuzz {

using Platform::IntfId;
using Platform::makePtr;
using Platform::Ptr;

class World;

// The application: its indications call the service back as the world's script says.
class Agent final : public Mrp::MrpLib {
 public:
  explicit Agent(World& world) : world_(world) {}

  bool mrpJoinIndication(const Mrp::MrpParameters& p) override { return indicated(p, true); }
  void mrpLeaveIndication(const Mrp::MrpParameters& p) override { indicated(p, false); }

 private:
  bool indicated(const Mrp::MrpParameters& p, bool join);
  void propagate(const Mrp::MrpParameters& p, bool join);

  World& world_;
};

// One engine on a switch of three ports, and what an input does to them step by step.
class World {
 public:
  explicit World(Input& input);
  ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  void run();

 private:
  friend class Agent;
  static constexpr std::size_t kPorts = 3;

  // Steps.
  void step();
  void frame(bool waits);
  void request();
  void spanningTree();
  void takeOver();
  void copyStatus();
  void cleanUp();
  void failure(unsigned what);
  void request(const std::vector<IntfId>& queued, const Mrp::MrpParameters& parameters);
  void enable(IntfId intf, bool enable);

  void startEngine(bool standby);
  void stopEngine();
  void transmitted(OctetSpan frame) const;
  void withdrawAll();
  // Nobody declares anything any more: all registrations age out and all records go.
  void end();

  // Invariants.
  void check();
  void checkCollection(IntfId intf, std::uint8_t type);
  void checkRecord(IntfId intf, std::uint8_t type, Mrp::MrpAttrDatabase& record);
  void checkLeaveTimer(const Mrp::MrpAttribute& attribute, const Mrp::MrpAttrDatabase& record,
                       Mrp::MrpLeaveSm& sm);
  void checkPublished(IntfId intf, std::uint8_t type, const std::vector<std::uint64_t>& committed);
  void checkAllGone();
  // Calls `visit(intf, type, types)` for every collection there is.
  template <class Visit>
  void eachCollection(Visit visit) const {
    for (const IntfId intf : ports_) {
      for (std::uint8_t type = 1; type <= types(); ++type) {
        auto* collection = engine_->applicationDatabase()->typeApplicant(intf, type);
        if (collection) visit(intf, type, *collection);
      }
    }
  }

  bool msrp() const { return protocol_.application == Mrp::MrpApplication::msrp; }
  unsigned types() const { return msrp() ? 4 : 1; }
  IntfId port() { return ports_[in_.octet() % kPorts]; }
  bool active() const { return engine_->active(); }

  Input& in_;
  Protocol protocol_;
  bool wholeFrames_;  // frames come with their headers; otherwise a right one is put in front
  Ptr<Platform::Embedded::VirtualClock> clock_ = makePtr<Platform::Embedded::VirtualClock>();
  Platform::Embedded::Switch switch_{clock_};
  Ptr<Platform::EntityManager> stateDatabase_;
  std::array<IntfId, kPorts> ports_;
  Ptr<Mrp::MrpConfig> config_ = makePtr<Mrp::MrpConfig>();
  Ptr<Mrp::MrpStatus> status_ = makePtr<Mrp::MrpStatus>();
  Ptr<Agent> agent_;
  OctetSpan script_;  // what indications do, one octet each, over and over
  std::size_t nextIndication_ = 0;
  unsigned step_ = 0;
  unsigned takeOvers_ = 0;
  std::uint64_t staged_ = 0;  // by engines that are gone
  std::uint64_t requested_ = 0;
  Ptr<Mrp::MrpSm> engine_;
};

}  // namespace Fuzz
