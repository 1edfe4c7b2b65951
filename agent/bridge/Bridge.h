#pragma once

#include <memory>
#include <string>

#include "agent/account/Account.h"
#include "agent/bridge/VlanSet.h"
#include "mrp/MrpSm/MrpLib.h"
#include "platform/interface/IntfMap.h"
#include "platform/stp/RoleWatcher.h"

namespace Mrp {

// What the bridges of all applications have in common: their ports, which of those the spanning
// tree lets forward which VLANs, and when to act on what has changed.
//
//   auto bridge = makePtr<MvrpBridge>();
//   auto engine = engineFactory({…, .mrpLib = bridge.get(), …});
//   bridge->start();
//   bridge->portIs(port);
//
// The bridge outlives its engines. Ports and settings may change at any time; what depends on them
// follows at once.
class Bridge : public MrpLib, private Stp::RoleWatcher::Listener {
 public:
  ~Bridge() override;

  // Takes up the work with the engine that has been made with this service object: to be called
  // then, again when it has been activated from standby, and again when the mode of the spanning
  // tree or the assignment of VLANs to instances has changed.
  void start();

  // The ports of the bridge. Settings of a port go with it. A port that ends tells its neighbour.
  // Both need an engine.
  void portIs(IntfId intf, bool enabled = true);
  void portDel(IntfId intf);
  // A port that is disabled tells its neighbour, too, and keeps its settings.
  void portEnabledIs(IntfId intf, bool enabled);
  bool portEnabled(IntfId intf) const;

  // Is told what the bridge passes on, and why. Not owned; null at first. It outlives the bridge,
  // or is taken away before.
  void accountIs(Accounts::Account* account) { account_ = account; }

 protected:
  struct Member {
    explicit Member(IntfId of) : intf(of) {}
    IntfId intf;
    bool enabled = false;
    bool open = false;  // its endpoint is there
    VlanSet forwards;   // none while the port is not open
  };
  using Members = Platform::IntfMap<Member>;

  Bridge();

  // --- For the application -----------------------------------------------------------------------
  // A port is there, or is about to go.
  virtual void handleMember(const Member& member, bool there) = 0;
  // All that is known of the engine is void.
  virtual void handleStart() = 0;
  // The endpoint has come, or has gone with all records of the port.
  virtual void handleOpen(const Member& member) = 0;
  // The port is about to be disabled; it still sends.
  virtual void handleDisable(const Member&) {}
  // What the engine has registered, or declares, on the port may have changed without an
  // indication.
  virtual void readRecords(const Member& member) = 0;
  // What a port forwards, or what was read of it, has changed for these VLANs.
  virtual void handleForwards(const Member& member, const VlanSet& vlans) = 0;
  // Acts on all that has changed: at the end of a received frame, of start() and of the operations
  // above.
  virtual void settle() = 0;

  const Members& members() const { return members_; }
  Member* member(IntfId intf) const { return members_.find(intf); }
  // Changes come in numbers now: settle() follows.
  bool settlesLater() const;
  void askNeighbour(IntfId intf);
  // An attribute's value is in its transmit record.
  void request(IntfId intf, std::uint8_t type, std::uint8_t event);
  // Before something is withdrawn that may have been declared since the last transmission: New and
  // Join stand in both open packets of a port, Lv in the first alone, so that the second would
  // declare it again.
  void sendWhatIsOpen(IntfId intf);
  Accounts::Account* account() const { return account_; }

 private:
  // While one is there, settle() is put off.
  class Batch;

  void handleRole(const std::string& stpi, const std::string& msti, const std::string& port,
                  Stp::Role role) override;
  void handlePam(IntfId intf);
  void handleFrame(IntfId intf);
  void open(Member& member);
  void close(Member& member);
  void forward(Member& member, const VlanSet& vlans, bool forwards);
  bool everythingForwards() const;
  Accounts::Because portChanged(IntfId intf, Accounts::PortChange change) const;

  Members members_;
  int batches_ = 0;
  Platform::Reactor<IntfId> pamReactor_;
  Platform::Reactor<IntfId> frameReactor_;
  std::unique_ptr<Stp::RoleWatcher> roles_;
  Accounts::Account* account_ = nullptr;
};

}  // namespace Mrp
