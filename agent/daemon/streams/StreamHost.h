#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/daemon/streams/CreditShaper.h"
#include "agent/msrp/StreamForwarding.h"
#include "platform/packet/EthAddr.h"
#include "platform/reactor/Signal.h"

namespace Daemon {

// What the host can do for the streams of a bridge.
class StreamHost {
 public:
  struct Medium {
    Mrp::BitsPerSecond rate = 0;  // 0: not known
    bool fullDuplex = true;

    friend bool operator==(const Medium&, const Medium&) = default;
  };
  struct Address {
    std::uint16_t vlan = 0;  // 0: any, in a bridge that does not filter VLANs
    Platform::EthAddr mac;

    friend auto operator<=>(const Address&, const Address&) = default;
  };
  struct Answer {
    Mrp::ReservationResult result = Mrp::ReservationResult::ok;
    // The entry is there, and somebody else has made it.
    bool others = false;
    std::string why{};  // it was refused
  };
  // The ports on which frames of each class are of it, by their priority.
  using ClassPorts = std::map<Mrp::SrClass, std::vector<std::string>>;

  virtual ~StreamHost() = default;

  virtual Medium medium(const std::string& port) const = 0;
  // Whether a port has an entry for a group address that stays until it is removed.
  virtual bool entry(const std::string& port, const Address& address) const = 0;
  // Lets frames to the address out by the port, or takes that back. What was not there is removed
  // with success.
  virtual Answer entryIs(const std::string& port, const Address& address, bool present) = 0;

  // How the queue of a class is shaped on a port, if it is.
  virtual std::optional<CreditShaper> shaper(const std::string& port, Mrp::SrClass srClass) = 0;
  // Shapes it; none: not any more. False when the host cannot, and `why` says so. `ours`: the
  // port's queues were arranged by the agent, in an earlier life too; it is told whether they are
  // now.
  virtual bool shaperIs(const std::string& port, Mrp::SrClass srClass,
                        const std::optional<CreditShaper>& shaper, bool& ours,
                        std::string& why) = 0;
  // Gives the queues of a port back as they were found.
  virtual void queuesDel(const std::string& port, bool ours) = 0;

  // Frames that come in on one of a class's ports with its priority leave by its queue. No ports at
  // all: takes that back. False when the host cannot, and `why` says so.
  virtual bool classesAre(const std::string& bridge, const ClassPorts& ports, std::string& why) = 0;

  // There may be room again for what was refused, or an entry of somebody else's has changed.
  Platform::Signal<>& onChange() { return onChange_; }

 private:
  Platform::Signal<> onChange_;
};

}  // namespace Daemon
