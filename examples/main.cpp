// Two switches, one wire between them:
//
//   left [port1]-------[port1] right
//
// The agent of `left` declares VLAN 100 with MVRP, the agent of `right` is told of it, and is told
// again when the declaration is withdrawn. Time is virtual: the ten seconds take no time.

#include <cstdint>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpStatus.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"
#include "platform/embedded/Wire.h"

namespace {

using Platform::EthAddr;
using Platform::IntfId;
using Platform::makePtr;
using Platform::Ptr;

// What a protocol agent is to the engine: it makes requests and overrides the indications.
class MvrpAgent : public Mrp::MrpLib {
 public:
  MvrpAgent(std::string name, Ptr<const Platform::Clock> clock)
      : name_(std::move(name)), clock_(std::move(clock)) {
    identityIs(Mrp::applicationInfo(Mrp::MrpApplication::mvrp));
  }

  // Joins (New or not) and leaves differ in the event alone.
  void request(Mrp::MrpThreePackedEvent event, IntfId port, std::uint16_t vlan) {
    mvrpVlanVectorTx().vlanId = vlan;
    mrpOutIntfQueueEnq(port);
    mrpSendAttribute({.intfId = port,
                      .attributeType = static_cast<std::uint8_t>(Mrp::MvrpAttrType::vlan),
                      .attributeEvent = static_cast<std::uint8_t>(event)});
  }

  bool mrpJoinIndication(const Mrp::MrpParameters& parameters) override {
    tell("joins", parameters.intfId);
    joined_.push_back(mvrpVlanVectorRx().vlanId);
    return false;  // true would refuse the registration
  }
  void mrpLeaveIndication(const Mrp::MrpParameters& parameters) override {
    tell("leaves", parameters.intfId);
    left_.push_back(mvrpVlanVectorRx().vlanId);
  }

  const std::vector<std::uint16_t>& joined() const { return joined_; }
  const std::vector<std::uint16_t>& left() const { return left_; }

 private:
  void tell(const char* what, IntfId port) const {
    std::cout << clock_->now().value() << " s: " << name_ << ": VLAN " << mvrpVlanVectorRx().vlanId
              << ' ' << what << " on " << port << '\n';
  }

  std::string name_;
  Ptr<const Platform::Clock> clock_;
  std::vector<std::uint16_t> joined_;
  std::vector<std::uint16_t> left_;
};

// A switch with one port and one engine.
struct Bridge {
  Bridge(const std::string& name, Ptr<Platform::Clock> clock, std::uint64_t mac)
      : platform(clock), agent(makePtr<MvrpAgent>(name, clock)) {
    platform.bridgingConfig()->bridgeMacAddrIs(EthAddr::fromNumber(mac));
    port = platform.portIs("port1", EthAddr::fromNumber(mac + 1));
    engine = Mrp::engineFactory({.brConfig = platform.bridgingConfig(),
                                 .mrpLib = agent.get(),
                                 .mrpConfig = makePtr<Mrp::MrpConfig>(),
                                 .mrpStatus = makePtr<Mrp::MrpStatus>(),
                                 .stpStatus = platform.stpStatus(),
                                 .brTopoConfig = platform.bridgingTopologyConfig(),
                                 .ethPhyIntfStatusDir = platform.ethPhyIntfStatusDir(),
                                 .entityManager = platform.stateDatabase()});
    agent->mrpInterfaceEnable(port);
  }

  Platform::Embedded::Switch platform;
  Ptr<MvrpAgent> agent;
  Ptr<Mrp::Engine> engine;
  IntfId port;
};

}  // namespace

int main() {
  auto clock = makePtr<Platform::Embedded::VirtualClock>();
  Bridge left("left", clock, 0x020000000100);
  Bridge right("right", clock, 0x020000000200);
  Platform::Embedded::Wire wire(left.platform, left.port, right.platform, right.port);

  left.agent->request(Mrp::MrpThreePackedEvent::joinIn, left.port, 100);
  clock->run(5);
  left.agent->request(Mrp::MrpThreePackedEvent::lv, left.port, 100);
  clock->run(5);

  const std::vector<std::uint16_t> once{100};
  return right.agent->joined() == once && right.agent->left() == once ? 0 : 1;
}
