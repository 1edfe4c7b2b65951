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
      services_(makePtr<Services>(clock_)),
      attrLog_(makePtr<AttrLogSocket>()),
      stateDatabase_(
          makePtr<Host::StateDatabase>(services_, options.name, options.defaultNamespace)),
      bus_(&services_->bus()) {
  stateDatabase_->attrLogIs(attrLog_);
  stateDatabase_->directoriesAre(*this);
}

Switch::~Switch() = default;

bool Switch::receive(IntfId intf, std::span<const std::uint8_t> frame, Seconds unread) {
  return bus_->receive(intf, frame, unread);
}

void Switch::onTransmit(TransmitHook hook) {
  hooks_.push_back(std::make_unique<Hook>(std::move(hook), *bus_));
}

}  // namespace Platform::Embedded
