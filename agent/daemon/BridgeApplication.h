#pragma once

#include "agent/daemon/Application.h"

namespace Daemon {

// MVRP in a bridge, for the agent.
class BridgeApplication final : public Mrp::MvrpBridge, public Application {
 public:
  explicit BridgeApplication(Teller teller) : teller_(std::move(teller)) {}

  Mrp::MrpLib& lib() override { return *this; }
  void start() override { MvrpBridge::start(); }
  void accountIs(Mrp::Accounts::Account* account) override { MvrpBridge::accountIs(account); }
  void portIs(IntfId intf) override { MvrpBridge::portIs(intf); }
  void portDel(IntfId intf) override { MvrpBridge::portDel(intf); }
  void declarationIs(IntfId intf, std::uint8_t type, std::span<const std::uint8_t> image,
                     bool declared) override;
  void everywhereIs(const Mrp::VlanSet& vlans, bool declared) override;
  void registrationIs(IntfId intf, const Mrp::VlanSet& vlans,
                      Mrp::Registration registration) override {
    MvrpBridge::registrationIs(intf, vlans, registration);
  }
  Mrp::VlanSet programmed(IntfId intf) const override { return registered(intf); }

  bool mrpJoinIndication(const Mrp::MrpParameters& parameters) override;
  void mrpLeaveIndication(const Mrp::MrpParameters& parameters) override;

 private:
  Teller teller_;
};

}  // namespace Daemon
