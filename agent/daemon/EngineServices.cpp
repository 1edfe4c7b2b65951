#include "agent/daemon/EngineServices.h"

namespace Daemon {
namespace {

using namespace Platform;

class OwnFilterManager final : public EthDevPamManager {
 public:
  OwnFilterManager(Ptr<EthDevPamManager> inner, std::uint16_t etherType)
      : inner_(std::move(inner)), etherType_(etherType) {}

  void ethProtocolIs(std::uint16_t protocol) override { inner_->ethProtocolIs(protocol); }
  void listenAddrIs(EthAddr address) override {
    address_ = address;
    inner_->listenAddrIs(address);
  }
  void socketFilterIs(std::vector<FilterInstruction>) override {
    inner_->socketFilterIs(ownFilter(address_, etherType_));
  }
  void maxRxPktDataIs(std::size_t octets) override { inner_->maxRxPktDataIs(octets); }
  void socketPerIntfIs(bool perIntf) override { inner_->socketPerIntfIs(perIntf); }
  void enabledIs(bool enabled) override { inner_->enabledIs(enabled); }
  void hasNotificationActiveIs(bool active) override {
    Entity::hasNotificationActiveIs(active);
    inner_->hasNotificationActiveIs(active);
  }

 private:
  Ptr<EthDevPamManager> inner_;
  EthAddr address_;
  std::uint16_t etherType_;
};

class ForwardedEventLog final : public EventLog {
 public:
  explicit ForwardedEventLog(EngineServices::LogListener& listener) : listener_(listener) {}
  bool isOn(const EventLogHandle&) const override { return listener_.listens(); }
  void message(const EventLogHandle& handle, std::string text) override {
    listener_.logged(handle.name, text);
  }

 private:
  EngineServices::LogListener& listener_;
};

}  // namespace

std::vector<FilterInstruction> ownFilter(EthAddr address, std::uint16_t etherType) {
  using namespace FilterCode;
  constexpr std::uint16_t kTpid = 0x8100;
  constexpr std::uint32_t kAccept = 65535;
  const auto high = static_cast<std::uint32_t>(address.number() >> 16);
  const auto low = static_cast<std::uint32_t>(address.number() & 0xFFFF);
  return {
      /*  0 */ {kLoadWordAbs, 0, 0, 0},
      /*  1 */ {kJumpEqual, 0, 8, high},
      /*  2 */ {kLoadHalfAbs, 0, 0, 4},
      /*  3 */ {kJumpEqual, 0, 6, low},
      /*  4 */ {kLoadHalfAbs, 0, 0, 12},
      /*  5 */ {kJumpEqual, 3, 0, etherType},
      /*  6 */ {kJumpEqual, 0, 3, kTpid},
      /*  7 */ {kLoadHalfAbs, 0, 0, 16},
      /*  8 */ {kJumpEqual, 0, 1, etherType},
      /*  9 */ {kReturn, 0, 0, kAccept},
      /* 10 */ {kReturn, 0, 0, 0},
  };
}

EngineServices::EngineServices(Ptr<PlatformServices> inner, std::uint16_t etherType,
                               LogListener& events)
    : inner_(std::move(inner)),
      etherType_(etherType),
      trace_(makePtr<Trace>()),
      eventLog_(makePtr<ForwardedEventLog>(events)) {}

EngineServices::~EngineServices() = default;

Ptr<EthDevPamManager> EngineServices::ethDevPamManager(Ptr<DesiredIntfDir> desired,
                                                       Ptr<PamCollection> pams,
                                                       Ptr<DeviceIntfStatusDir> devices) {
  return makePtr<OwnFilterManager>(inner_->ethDevPamManager(desired, pams, devices), etherType_);
}

}  // namespace Daemon
