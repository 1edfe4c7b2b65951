#include <algorithm>
#include <utility>

#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"
#include "tests/platform/Conformance.h"

namespace PlatformTest {
namespace {

using namespace Platform;

class EmbeddedSubject final : public Subject {
 public:
  EmbeddedSubject() {
    deviceIs(true);
    switch_.onTransmit([this](IntfId, const Pkt& pkt) {
      departed_.emplace_back(pkt.octets().begin(), pkt.octets().end());
    });
  }

  bool runUntil(const std::function<bool()>& holds, Seconds atMost) override {
    const Seconds end = clock_->now() + atMost;
    while (!holds()) {
      if (clock_->now() == end) return false;
      clock_->runUntil(std::min(clock_->nextDue().value_or(end), end));
    }
    return true;
  }
  EntityManager& manager(Engine) override { return *switch_.stateDatabase(); }
  IntfId port() override { return IntfId("port1"); }
  void deviceIs(bool present) override {
    if (!present) return switch_.deviceIntfStatusDir()->deviceDel(port());
    switch_.portIs("port1", EthAddr::fromNumber(0x020000000001), kMtu);
  }
  void arrive(std::span<const std::uint8_t> frame) override {
    switch_.receive(port(), frame, Seconds(1e-6));
  }
  std::vector<Octets> departed() override { return std::exchange(departed_, {}); }
  void allocationFails(bool fails) override { switch_.pktAllocator().failAll(fails); }
  void logWaits(bool waits) override { switch_.attrLog().queueOctetsIs(waits ? 1000 : 0); }
  void logReopens() override { switch_.attrLog().reopen(); }

 private:
  Ptr<Embedded::VirtualClock> clock_ = makePtr<Embedded::VirtualClock>();
  Embedded::Switch switch_{clock_};
  std::vector<Octets> departed_;
};

INSTANTIATE_TEST_SUITE_P(Embedded, Conformance,
                         testing::Values(SubjectKind{
                             "embedded",
                             [](std::string&) { return std::make_unique<EmbeddedSubject>(); }}),
                         [](const auto& of) { return of.param.name; });

}  // namespace
}  // namespace PlatformTest
