#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "agent/bridge/VlanSet.h"
#include "agent/daemon/Log.h"
#include "agent/daemon/streams/StreamHost.h"

namespace Daemon {

using Platform::IntfId;

// What the bridge of MSRP asks of the kernel's bridge: entries for streams and shapers, apart from
// those that somebody else made.
//
// An entry is the agent's from the moment it asks for it until it has removed it. Those of an
// earlier life are there until confirmedIs() tells that the bridge has had the time to ask for what
// stays, and no shaper is lowered before.
class StreamProgram final : public Mrp::StreamForwarding {
 public:
  using Address = StreamHost::Address;
  // How frames leave a port, beside what StreamPort says.
  struct Port {
    Mrp::StreamPort settings;
    Mrp::VlanSet forbidden;
    Mrp::VlanSet untagged;
    std::string incapable{};  // why it is not capable, if it is not

    friend bool operator==(const Port&, const Port&) = default;
  };
  struct Hooks {
    // What becomes the agent's on a port, and what ceases to be; none: its queues.
    std::function<void(const std::string& port, const std::optional<Address>&, bool on)> claim;
    // Frames of a VLAN to an address leave by a port, or do no more.
    std::function<void(const std::string& port, const Address&, bool on)> told;
  };

  // Null for a host that can do nothing for streams: all is accepted, and nothing done.
  StreamProgram(StreamHost* host, Hooks hooks, const Log& log);
  ~StreamProgram() override;

  // Known from an earlier life to be the agent's.
  void claimIs(const std::string& port, const std::optional<Address>& address);
  // Entries that nobody has asked for in this life go.
  void confirmedIs();

  // The ports there are. `filters`: the bridge filters VLANs.
  void portsAre(const std::map<IntfId, Port>& ports, bool filters);
  // Whether anything is put into the kernel.
  void enabledIs(bool enabled, const std::string& bridge);
  // What the host has refused may work now.
  void retry();
  // Tells the host which frames are of which class, when that has changed.
  void classesAre(const std::string& bridge);
  // Takes everything out of the kernel that is the agent's.
  void end(const std::string& bridge);
  // A port that has left the bridge took its entries along.
  void portDel(const std::string& port);

  // For the state: calls `claim` for all that is the agent's.
  void repeatClaims() const;
  // What the kernel cannot do, in words; each was logged once.
  std::vector<std::string> refusals() const;
  // How a class is shaped on a port, if it is.
  std::optional<CreditShaper> shaper(IntfId intf, Mrp::SrClass srClass) const;

  Mrp::ReservationResult reservationIs(Platform::VlanId vlan, Platform::EthAddr address,
                                       const Mrp::PortSet& ports) override;
  bool idleSlopeIs(IntfId intf, Mrp::SrClass srClass, Mrp::BitsPerSecond slope) override;
  void domainBoundaryIs(IntfId intf, Mrp::SrClass srClass, bool boundary) override;
  Mrp::StreamPort streamPort(IntfId intf) const override;
  Mrp::VlanEgress vlanEgress(IntfId intf, Platform::VlanId vlan) const override;
  bool addressRegistered(IntfId intf, Platform::VlanId vlan,
                         Platform::EthAddr address) const override;
  void reactorIs(Reactor* reactor) override { reactor_ = reactor; }

 private:
  struct Shaping {
    std::array<Mrp::BitsPerSecond, Mrp::kSrClasses> slopes{};
    std::array<std::optional<CreditShaper>, Mrp::kSrClasses> shapers{};
    bool ours = false;       // the port's queues were taken over
    bool inherited = false;  // by an earlier life, whose shapers are not known
  };
  enum class Kind : std::uint8_t { entries, shapers, medium, classes };

  Address keyOf(const Address& stream) const {
    return {filters_ ? stream.vlan : std::uint16_t{0}, stream.mac};
  }
  Mrp::ReservationResult open(const std::string& port, const Address& stream);
  void close(const std::string& port, const Address& stream);
  void openAll();
  void closeAll();
  void dropEntry(const std::string& port, const Address& key);
  bool shape(const std::string& port, Mrp::SrClass srClass);
  void shapeAgain(const std::string& port);
  void releaseQueues(const std::string& port);
  void refused(Kind kind, const std::string& port, const std::string& why);
  bool working() const { return host_ && enabled_; }

  StreamHost* host_;
  Hooks hooks_;
  const Log& log_;
  std::map<IntfId, Port> ports_;
  bool enabled_ = true;
  bool filters_ = true;
  bool confirmed_ = false;
  // As the bridge of MSRP has been promised: VLAN and address, whether the bridge filters or not.
  std::map<Address, std::set<std::string>> wanted_;
  // By port: entries that the agent has made, and those of an earlier life not asked for yet.
  std::map<std::string, std::set<Address>> owned_;
  std::map<std::string, std::set<Address>> inherited_;
  std::map<std::string, Shaping> shaping_;
  std::set<std::pair<Mrp::SrClass, IntfId>> inside_;  // the domain
  std::optional<StreamHost::ClassPorts> classPorts_;  // as the host was told last
  std::map<std::pair<Kind, std::string>, std::string> refusals_;
  Reactor* reactor_ = nullptr;
};

}  // namespace Daemon
