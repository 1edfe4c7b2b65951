#include <sys/socket.h>

#include <array>
#include <utility>

#include "platform/linux/EnginePlatform.h"
#include "platform/linux/Links.h"
#include "tests/platform/Conformance.h"
#include "tests/platform/linux/Namespace.h"
#include "tests/platform/linux/Tap.h"

namespace PlatformTest {
namespace {

using namespace Platform;

// Two virtual interfaces back to back; "here" is the platform's, alone or as a port of a bridge.
class LinuxSubject final : public Subject {
 public:
  LinuxSubject(std::unique_ptr<Namespace> ns, bool ofBridge)
      : namespace_(std::move(ns)), ofBridge_(ofBridge) {
    if (ofBridge) {
      EXPECT_TRUE(namespace_->ip("link add bridge0 up type bridge"));
    }
    linkReactor_.watch<&LinuxSubject::handleLink>(links_.onLink(), this);
    goneReactor_.watch<&LinuxSubject::handleLinkGone>(links_.onLinkGone(), this);
    deviceIs(true);
    runUntil([this] { return directories_.deviceIntfStatusDir()->deviceHas(port()); }, 5);
  }
  ~LinuxSubject() override {
    here_.reset();
    there_.reset();
  }

  bool runUntil(const std::function<bool()>& holds, Seconds atMost) override {
    const Seconds end = loop_->clock()->now() + atMost;
    while (!holds()) {
      const Seconds left = end - loop_->clock()->now();
      if (left <= Seconds()) return false;
      loop_->turn(std::min(left, Seconds(0.01)));
    }
    return true;
  }
  EntityManager& manager(Engine engine) override { return *platform(engine).stateDatabase(); }
  IntfId port() override { return IntfId("here"); }

  void deviceIs(bool present) override {
    here_.reset();
    there_.reset();
    if (!present) {
      EXPECT_TRUE(namespace_->ip("link del here"));
      return;
    }
    EXPECT_TRUE(namespace_->ip("link add here mtu 12000 type veth peer name there mtu 12000"));
    EXPECT_TRUE(namespace_->ip("link set here up"));
    EXPECT_TRUE(namespace_->ip("link set there up"));
    if (ofBridge_) {
      EXPECT_TRUE(namespace_->ip("link set here master bridge0"));
    }
    here_.emplace("here");
    there_.emplace("there");
  }

  // The tap at the port is older than any endpoint, and so is served after it.
  void arrive(std::span<const std::uint8_t> frame) override {
    here_->take();
    EXPECT_TRUE(there_->send(frame));
    EXPECT_TRUE(here_->await(frame));
  }
  std::vector<Octets> departed() override { return there_->take(); }

  void allocationFails(bool fails) override {
    for (EnginePlatform* platform : {&mvrp_, &msrp_}) {
      platform->services().pktManager().failAll(fails);
    }
  }
  void logWaits(bool waits) override {
    static constexpr std::array<std::uint8_t, 1000> kMessage{};
    if (waits) {
      EXPECT_TRUE(mvrp_.attrLog().send(kMessage));
    } else {
      char octet = 0;
      EXPECT_EQ(::recv(mvrp_.attrLog().peerFd(), &octet, 1, MSG_DONTWAIT), 1);
    }
  }
  void logReopens() override { mvrp_.attrLog().reopen(); }

 private:
  using EnginePlatform = Platform::Linux::EnginePlatform;

  EnginePlatform& platform(Engine engine) { return engine == kMvrp ? mvrp_ : msrp_; }
  static EnginePlatform::Options options(const char* name, std::uint16_t etherType) {
    return {.name = name,
            .services = {.etherType = etherType,
                         .refused = [](const std::string& text) { ADD_FAILURE() << text; }}};
  }
  void handleLink(const Linux::Link& link) {
    if (link.name != "here") return;
    if (link.up) {
      directories_.portIs(link.name, link.mac, link.mtu);
    } else {
      directories_.deviceIntfStatusDir()->deviceDel(port());
    }
  }
  void handleLinkGone(const Linux::Link& link) {
    if (link.name == "here") directories_.portDel(port());
  }

  std::unique_ptr<Namespace> namespace_;
  bool ofBridge_;
  Ptr<Linux::Loop> loop_ = makePtr<Linux::Loop>();
  Host::Directories directories_;
  Linux::Links links_{loop_};
  EnginePlatform mvrp_{loop_, directories_, options("mvrp", 0x88f5)};
  EnginePlatform msrp_{loop_, directories_, options("msrp", 0x22ea)};
  std::optional<Tap> here_;
  std::optional<Tap> there_;
  Reactor<const Linux::Link&> linkReactor_;
  Reactor<const Linux::Link&> goneReactor_;
};

SubjectKind kind(const char* name, bool ofBridge) {
  return {name, [ofBridge](std::string& why) -> std::unique_ptr<Subject> {
            std::unique_ptr<Namespace> ns = Namespace::make(why);
            return ns ? std::make_unique<LinuxSubject>(std::move(ns), ofBridge) : nullptr;
          }};
}

INSTANTIATE_TEST_SUITE_P(Linux, Conformance,
                         testing::Values(kind("linux", false), kind("bridgePort", true)),
                         [](const auto& of) { return of.param.name; });

}  // namespace
}  // namespace PlatformTest
