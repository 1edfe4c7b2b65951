#include "platform/embedded/Switch.h"

#include <utility>

namespace Platform::Embedded {

struct Switch::Hook {
  Hook(TransmitHook hook, EthDevBus& bus) : call(std::move(hook)) {
    reactor.watch<&Hook::handleTransmit>(bus.onTransmit(), this);
  }
  void handleTransmit(IntfId intf, const Pkt& pkt) { call(intf, pkt); }

  TransmitHook call;
  Reactor<IntfId, const Pkt&> reactor;
};

Switch::Switch(Ptr<Clock> clock, const Options& options)
    : clock_(std::move(clock)),
      bridgingConfig_(makePtr<BridgingConfig>()),
      topologyConfig_(makePtr<BridgingTopologyConfig>()),
      stpStatus_(makePtr<Stp::StpStatus>()),
      ethPhyIntfStatusDir_(makePtr<EthPhyIntfStatusDir>()),
      allIntfStatusDir_(makePtr<IntfStatusDir>()),
      allIntfStatusLocalDir_(makePtr<IntfStatusDir>()),
      deviceIntfStatusDir_(makePtr<DeviceIntfStatusDir>()),
      services_(makePtr<Services>(clock_)),
      stateDatabase_(makePtr<StateDatabase>(services_, options.name, options.defaultNamespace)),
      bus_(&services_->bus()) {
  stateDatabase_->attrLogIs(makePtr<AttrLogSocket>());
  mountEntities();
}

Switch::~Switch() = default;

void Switch::mountEntities() {
  StateDatabase& db = *stateDatabase_;
  db.entityIs("interface/status/all", allIntfStatusDir_);
  db.entityIs("interface/status/local", allIntfStatusLocalDir_);
  db.entityIs(StateDatabase::deviceTablePath(db.defaultNamespace()), deviceIntfStatusDir_);
}

IntfId Switch::portIs(std::string_view name, EthAddr mac, std::uint32_t mtu) {
  const IntfId intf(name);
  allIntfStatusDir_->intfStatusIs(intf, {mtu});
  allIntfStatusLocalDir_->intfStatusIs(intf, {mtu});
  ethPhyIntfStatusDir_->ethPhyIntfStatusIs(intf, {mac});
  deviceIntfStatusDir_->deviceIs(intf);  // last: the endpoint may open in here
  return intf;
}

void Switch::portDel(IntfId intf) {
  deviceIntfStatusDir_->deviceDel(intf);
  ethPhyIntfStatusDir_->ethPhyIntfStatusDel(intf);
  allIntfStatusLocalDir_->intfStatusDel(intf);
  allIntfStatusDir_->intfStatusDel(intf);
}

bool Switch::receive(IntfId intf, std::span<const std::uint8_t> frame, Seconds unread) {
  return bus_->receive(intf, frame, unread);
}

void Switch::onTransmit(TransmitHook hook) {
  hooks_.push_back(std::make_unique<Hook>(std::move(hook), *bus_));
}

}  // namespace Platform::Embedded
