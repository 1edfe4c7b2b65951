#pragma once

#include "agent/daemon/Application.h"
#include "agent/daemon/config/Config.h"
#include "agent/msrp/MsrpBridge.h"

namespace Daemon {

// MSRP in a bridge, for the agent. It declares nothing on request: its domains are the bridge's
// own, and what else it declares it has heard on another port.
class StreamApplication final : public Mrp::MsrpBridge, public Application {
 public:
  StreamApplication(Mrp::StreamForwarding& forwarding, Platform::Ptr<Platform::Clock> clock,
                    Teller teller)
      : MsrpBridge(forwarding, std::move(clock)), teller_(std::move(teller)) {}

  void settingsAre(const Config& config);

  Mrp::MrpLib& lib() override { return *this; }
  void start() override { MsrpBridge::start(); }
  void accountIs(Mrp::Accounts::Account* account) override { MsrpBridge::accountIs(account); }
  void portIs(IntfId intf) override { MsrpBridge::portIs(intf); }
  void portDel(IntfId intf) override { MsrpBridge::portDel(intf); }
  void declarationIs(IntfId, std::uint8_t, std::span<const std::uint8_t>, bool) override {}
  void everywhereIs(const Mrp::VlanSet&, bool) override {}
  void registrationIs(IntfId, const Mrp::VlanSet&, Mrp::Registration) override {}
  Mrp::VlanSet programmed(IntfId) const override { return {}; }
  const Mrp::Streams::StreamPropagation* streams() const override { return &propagation(); }

  bool mrpJoinIndication(const Mrp::MrpParameters& parameters) override;
  void mrpLeaveIndication(const Mrp::MrpParameters& parameters) override;

 private:
  Teller teller_;
};

}  // namespace Daemon
