#pragma once

#include <map>
#include <memory>
#include <vector>

#include "agent/daemon/Application.h"
#include "mrp/MrpSm/Engine.h"
#include "platform/packet/PamDirs.h"

namespace Daemon {

// An application on ports that stand alone: what is declared is what was asked for, and what is
// registered goes nowhere. MVRP and MSRP in a station; MSRP in a bridge as long as it does not
// propagate there.
class Station final : public Mrp::MrpLib, public Application {
 public:
  Station(Mrp::MrpApplication application, Teller teller);
  ~Station() override;

  Mrp::MrpLib& lib() override { return *this; }
  void accountIs(Mrp::Accounts::Account* account) override { account_ = account; }
  void start() override;
  void portIs(IntfId intf) override;
  void portDel(IntfId intf) override;
  void declarationIs(IntfId intf, std::uint8_t type, std::span<const std::uint8_t> image,
                     bool declared) override;
  void everywhereIs(const Mrp::VlanSet& vlans, bool declared) override;
  // A forbidden VLAN is discarded; a fixed one is for those who ask what is registered.
  void registrationIs(IntfId intf, const Mrp::VlanSet& vlans,
                      Mrp::Registration registration) override;
  Mrp::VlanSet programmed(IntfId) const override { return {}; }

  bool mrpJoinIndication(const Mrp::MrpParameters& parameters) override;
  void mrpLeaveIndication(const Mrp::MrpParameters& parameters) override;

 private:
  using Image = std::vector<std::uint8_t>;
  struct Port {
    bool open = false;
    // By type and key: what is to be declared.
    std::map<std::pair<std::uint8_t, std::uint64_t>, Image> wanted;
    Mrp::VlanSet forbidden;
  };

  void handlePam(IntfId intf);
  Mrp::Accounts::Because changed(IntfId intf, Mrp::Accounts::PortChange change) const;
  void open(IntfId intf, Port& port);
  void close(IntfId intf, Port& port);
  // Declares what is wanted and not declared, and withdraws what is declared and not wanted.
  void settle(IntfId intf, Port& port);
  void request(IntfId intf, std::uint8_t type, std::span<const std::uint8_t> image,
               std::uint8_t event);

  Teller teller_;
  Platform::IntfMap<Port> ports_;
  Mrp::VlanSet everywhere_;
  Mrp::Accounts::Account* account_ = nullptr;
  Platform::Reactor<IntfId> pamReactor_;
};

}  // namespace Daemon
