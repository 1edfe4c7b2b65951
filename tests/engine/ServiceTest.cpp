// The service object and its engine: what asks for an engine that is not there, or not active, is a
// programming error with a text; whichever of the two ends first, the other is left in peace.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

constexpr const char* kInitialized = "failed: initialized\\(\\)\n";
constexpr const char* kActive = "failed: initialized\\(\\) && !standbyMode\\(\\)\n";

using Call = std::function<void(MrpLib&)>;

const IntfId kPort("port1");
const MrpParameters kRequest{.intfId = kPort, .attributeType = 1, .attributeEvent = Lv};

// Served by whatever engine there is.
const Call kOnAnyEngine[] = {
    [](MrpLib& lib) { lib.mrpInterfaceEnable(kPort); },
    [](MrpLib& lib) { lib.mrpInterfaceDisable(kPort); },
    [](MrpLib& lib) { lib.mrpCleanUpIntfDatabase(kPort); },
    [](MrpLib& lib) { lib.mrpCleanUpIntfDatabaseAttribute(kPort, 1, 10); },
    [](MrpLib& lib) { lib.baseSpanningTreeTopo(kPort); },
    [](MrpLib& lib) { lib.getNativeVlanId(kPort); },
};
// Served by an active one only.
const Call kOnAnActiveEngine[] = {
    [](MrpLib& lib) { lib.mrpSendAttributeIntf(kRequest, kPort, false); },
    [](MrpLib& lib) { lib.mrpSendLeaveAll(1, kPort); },
    [](MrpLib& lib) { lib.mrpHandleInternalLeave(); },
    [](MrpLib& lib) { lib.mrpDeleteAttrOnDefaultStates(); },
    [](MrpLib& lib) { lib.mrpTransmitTxAttributes(kPort); },
    [](MrpLib& lib) { lib.mrpValueFromFirstValue(1); },
};

class ServiceTest : public EngineTest {
 protected:
  Engine::Inputs inputs(MrpLib& served, bool standby = false) {
    return {st.sw->bridgingConfig(),
            &served,
            st.config,
            st.status,
            st.sw->stpStatus(),
            st.sw->bridgingTopologyConfig(),
            st.sw->ethPhyIntfStatusDir(),
            st.sw->stateDatabase(),
            standby};
  }
  static Ptr<MrpLib> vlanService() {
    Ptr<MrpLib> served = mrpLibFactory();
    served->applicationIs(kMvrp.application);
    served->applicationMacAddrIs(EthAddr::fromNumber(kMvrp.address));
    served->applicationEtypeIs(kMvrp.etype);
    return served;
  }

  Station st{kMvrp, Station::Start::none};
  Ptr<MrpLib> lib = vlanService();
};

TEST_F(ServiceTest, WithoutAnEngineNothingIsServed) {
  for (const Call& call : kOnAnyEngine) EXPECT_DEATH(call(*lib), kInitialized);
  for (const Call& call : kOnAnActiveEngine) EXPECT_DEATH(call(*lib), kActive);
  lib->mrpOutIntfQueueEnq(kPort);
  lib->mrpSendAttribute(kRequest);
  EXPECT_TRUE(lib->mrpOutIntfQueueEmpty()) << "a request is let go";
}

TEST_F(ServiceTest, InStandbyWhatSendsOrActsOnTheCurrentAttributeIsNotServed) {
  st.port(1);
  const Ptr<Engine> engine = engineFactory(inputs(*lib, true));
  for (const Call& call : kOnAnyEngine) call(*lib);
  for (const Call& call : kOnAnActiveEngine) EXPECT_DEATH(call(*lib), kActive);
  EXPECT_DEATH(engine->sendLeaveAll(kPort), kActive);
}

TEST_F(ServiceTest, ServiceThatEndsFirstEndsTheWorkOfItsEngine) {
  for (const bool standby : {false, true}) {
    st.port(1);
    lib = vlanService();
    const Ptr<Engine> engine = engineFactory(inputs(*lib, standby));
    lib->mrpInterfaceEnable(kPort);
    if (!standby) {
      lib->mvrpVlanVectorTx().vlanId = 10;
      lib->mrpOutIntfQueueEnq(kPort);
      lib->mrpSendAttribute({.intfId = kPort, .attributeType = 1, .attributeEvent = New});
      st.clock->run(0.2);
    }
    st.sent();
    lib = nullptr;
    EXPECT_FALSE(engine->active());
    EXPECT_FALSE(engine->inputs().mrpLib);
    EXPECT_FALSE(engine->enabled(kPort));
    EXPECT_FALSE(st.sw->endpoint(kPort)) << "it listens no more";
    st.clock->run(30);
    EXPECT_EQ(st.sent(), Texts{}) << "nor speaks";
    for (const bool on : {false, true}) engine->hasNotificationActiveIs(on);
    st.roleIs(kPort, Role::designated);
    st.roleIs(kPort, Role::alternate);
    engine->activate();
    EXPECT_FALSE(engine->active()) << "there is nobody to work for";
    EXPECT_DEATH(engine->sendLeaveAll(kPort), "assertion failed");
  }
}

}  // namespace
}  // namespace EngineTest
