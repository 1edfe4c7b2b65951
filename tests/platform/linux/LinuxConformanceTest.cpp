#include <pcap/pcap.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <utility>

#include "platform/linux/EnginePlatform.h"
#include "platform/linux/Links.h"
#include "tests/platform/Conformance.h"
#include "tests/platform/linux/Namespace.h"

namespace PlatformTest {
namespace {

using namespace Platform;

// Frames that arrive at an interface, with their tags, and a way to send some, independent of what
// is tested.
class Tap {
 public:
  explicit Tap(const char* interface) : pcap_(pcap_create(interface, error_.data())) {
    pcap_set_snaplen(pcap_, 65535);
    pcap_set_immediate_mode(pcap_, 1);
    pcap_set_promisc(pcap_, 1);
    if (pcap_activate(pcap_) < 0) ADD_FAILURE() << pcap_geterr(pcap_);
    pcap_setdirection(pcap_, PCAP_D_IN);
    pcap_setnonblock(pcap_, 1, error_.data());
  }
  ~Tap() { pcap_close(pcap_); }
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

  bool send(std::span<const std::uint8_t> frame) {
    return pcap_inject(pcap_, frame.data(), frame.size()) >= 0;
  }
  std::vector<Subject::Octets> take() {
    std::vector<Subject::Octets> frames;
    pcap_dispatch(
        pcap_, -1,
        [](u_char* to, const pcap_pkthdr* header, const u_char* octets) {
          reinterpret_cast<std::vector<Subject::Octets>*>(to)->emplace_back(
              octets, octets + header->caplen);
        },
        reinterpret_cast<u_char*>(&frames));
    return frames;
  }
  // Waits until this very frame has arrived, five seconds at most.
  bool await(std::span<const std::uint8_t> frame) {
    for (int i = 0; i < 500; ++i) {
      for (const Subject::Octets& octets : take()) {
        if (std::equal(octets.begin(), octets.end(), frame.begin(), frame.end())) return true;
      }
      pollfd poll{pcap_get_selectable_fd(pcap_), POLLIN, 0};
      ::poll(&poll, 1, 10);
    }
    return false;
  }

 private:
  std::array<char, PCAP_ERRBUF_SIZE> error_{};
  pcap_t* pcap_;
};

// Two virtual interfaces back to back; "here" is the platform's.
class LinuxSubject final : public Subject {
 public:
  explicit LinuxSubject(std::unique_ptr<Namespace> ns) : namespace_(std::move(ns)) {
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

std::unique_ptr<Subject> make(std::string& why) {
  std::unique_ptr<Namespace> ns = Namespace::make(why);
  return ns ? std::make_unique<LinuxSubject>(std::move(ns)) : nullptr;
}

INSTANTIATE_TEST_SUITE_P(Linux, Conformance, testing::Values(SubjectKind{"linux", make}),
                         [](const auto& of) { return of.param.name; });

}  // namespace
}  // namespace PlatformTest
