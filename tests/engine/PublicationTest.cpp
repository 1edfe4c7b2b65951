// What an engine publishes in the state database: its own while it lives, nobody's afterwards.

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

const char* const kNames[] = {"desiredIntfDirMsrp", "pamCollectionMsrp", "MrpCounters",
                              "MrpParseContext"};

class PublicationTest : public EngineTest {
 protected:
  Ptr<Entity> published(const std::string& name) const {
    return st.sw->stateDatabase()->entity(name);
  }
  Ptr<Engine> engine(MrpLib& lib) {
    lib.applicationIs(kMvrp.application);
    return engineFactory({st.sw->bridgingConfig(), &lib, st.config, makePtr<MrpStatus>(),
                          st.sw->stpStatus(), st.sw->bridgingTopologyConfig(),
                          st.sw->ethPhyIntfStatusDir(), st.sw->stateDatabase()});
  }

  Station st{kMvrp, Station::Start::none};
  Ptr<MrpLib> one = mrpLibFactory(), two = mrpLibFactory();
};

TEST_F(PublicationTest, EndsWithItsEngine) {
  Ptr<Engine> first = engine(*one);
  for (const char* name : kNames) EXPECT_TRUE(published(name)) << name;
  EXPECT_EQ(published("MrpCounters").get(), first->counters());
  first = nullptr;
  for (const char* name : kNames) EXPECT_FALSE(published(name)) << name;
}

TEST_F(PublicationTest, IsLeftToTheEngineThatTookTheNamesOver) {
  Ptr<Engine> first = engine(*one);
  const Ptr<Engine> second = engine(*two);
  ASSERT_TRUE(published("deviceIntfStatusDirMsrp"));
  first = nullptr;
  for (const char* name : kNames) EXPECT_TRUE(published(name)) << name;
  EXPECT_EQ(published("MrpCounters").get(), second->counters());
  EXPECT_TRUE(published("deviceIntfStatusDirMsrp")) << "both have mounted the one table";
}

}  // namespace
}  // namespace EngineTest
