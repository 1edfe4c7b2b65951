#include "platform/stp/RoleWatcher.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

using namespace Stp;

class RoleWatcherTest : public testing::Test, public RoleWatcher::Listener {
 protected:
  void handleRole(const std::string& stpi, const std::string& msti, const std::string& port,
                  Role role) override {
    log += stpi + "/" + msti + "/" + port + "=" + std::to_string(static_cast<int>(role)) + " ";
    if (inside) inside(port);
  }
  std::string take() { return std::exchange(log, ""); }
  MstiStatus& msti(const std::string& name) { return status->childIs("stp").childIs(name); }
  void roleIs(const std::string& instance, const std::string& port, Role role) {
    msti(instance).childIs(port).roleIs(role);
  }

  Platform::Ptr<StpStatus> status = Platform::makePtr<StpStatus>();
  std::string log;
  std::function<void(const std::string& port)> inside;
  std::unique_ptr<RoleWatcher> watcher =
      std::make_unique<RoleWatcher>(*this, RoleWatcher::Gone::tellNone);
};

TEST_F(RoleWatcherTest, TellsOfWhatIsThereAppearsChangesAndGoes) {
  roleIs("Cist", "p1", Role::root);
  roleIs("Mst1", "p1", Role::alternate);
  watcher->watch(*status);
  EXPECT_EQ(take(), "stp/Cist/p1=1 stp/Mst1/p1=3 ");
  roleIs("Cist", "p2", Role::designated);
  EXPECT_EQ(take(), "stp/Cist/p2=0 stp/Cist/p2=2 ");
  roleIs("Cist", "p2", Role::designated);
  EXPECT_EQ(take(), "");
  watcher->repeat("p1");
  EXPECT_EQ(take(), "stp/Cist/p1=1 stp/Mst1/p1=3 ");
  msti("Cist").childDel("p2");
  EXPECT_EQ(take(), "stp/Cist/p2=0 ");
  const auto gone = Platform::Ptr<MstiStatus>(&msti("Mst1"));
  status->childDel("stp");
  EXPECT_EQ(take(), "stp/Cist/p1=0 stp/Mst1/p1=0 ");
  gone->child("p1")->roleIs(Role::root);
  EXPECT_EQ(take(), "") << "of an instance that has gone";

  auto made = Platform::makePtr<StpiStatus>();
  made->childIs("Cist").childIs("p1").roleIs(Role::backup);
  status->childIs("stp", made);
  EXPECT_EQ(take(), "stp/Cist/p1=4 ");
  watcher.reset();
  roleIs("Cist", "p1", Role::root);
  EXPECT_EQ(take(), "");
}

TEST_F(RoleWatcherTest, SilentlyForgetsWhatGoesUnlessAsked) {
  watcher = std::make_unique<RoleWatcher>(*this);
  watcher->watch(*status);
  roleIs("Cist", "p1", Role::root);
  take();
  msti("Cist").childDel("p1");
  EXPECT_EQ(take(), "");
}

TEST_F(RoleWatcherTest, ExceptionsOfTheListenerReachTheCallerAndEndNoWatching) {
  for (const char* port : {"p1", "p2", "p3"}) roleIs("Cist", port, Role::root);
  inside = [](const std::string& port) {
    if (port != "p3") throw std::range_error(port);
  };
  const auto raised = [](auto call) -> std::string {
    try {
      call();
      return "";
    } catch (const std::range_error& error) {
      return error.what();
    }
  };
  EXPECT_EQ(raised([&] { watcher->watch(*status); }), "p1");
  EXPECT_EQ(take(), "stp/Cist/p1=1 stp/Cist/p2=1 stp/Cist/p3=1 ");
  EXPECT_EQ(raised([&] { roleIs("Cist", "p2", Role::alternate); }), "p2");
  EXPECT_EQ(raised([&] { roleIs("Cist", "p4", Role::none); }), "p4") << "watched from now on";
  EXPECT_EQ(raised([&] { watcher->repeat("p4"); }), "p4");
  EXPECT_EQ(raised([&] { status->childDel("stp"); }), "p1");
  take();
  inside = nullptr;
  roleIs("Cist", "p4", Role::root);
  EXPECT_EQ(take(), "stp/Cist/p4=0 stp/Cist/p4=1 ");
}

TEST_F(RoleWatcherTest, ListenerRemovesPortsInstancesAndTheWatcherItself) {
  for (const char* port : {"p1", "p2", "p3"}) roleIs("Cist", port, Role::root);
  inside = [&](const std::string& port) {
    if (port == "p1") msti("Cist").childDel("p1"), msti("Cist").childDel("p2");
  };
  watcher->watch(*status);
  EXPECT_EQ(take(), "stp/Cist/p1=1 stp/Cist/p1=0 stp/Cist/p3=1 ");

  roleIs("Cist", "p4", Role::root);
  inside = [&](const std::string& port) {
    inside = nullptr;
    if (port == "p3") status->childDel("stp");
  };
  take();
  roleIs("Cist", "p3", Role::alternate);
  EXPECT_EQ(take(), "stp/Cist/p3=3 stp/Cist/p3=0 stp/Cist/p4=0 ");

  for (const char* port : {"p1", "p2"}) roleIs("Cist", port, Role::root);
  take();
  inside = [&](const std::string&) { watcher.reset(); };
  watcher->watch(*status);
  EXPECT_EQ(take(), "stp/Cist/p1=1 ");
  roleIs("Cist", "p2", Role::none);
  EXPECT_EQ(take(), "");
}

}  // namespace
