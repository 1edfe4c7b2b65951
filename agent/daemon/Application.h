#pragma once

#include <functional>
#include <span>

#include "agent/account/Account.h"
#include "agent/mvrp/MvrpBridge.h"
#include "mrp/MrpSm/MrpLib.h"

namespace Mrp::Streams {
class StreamPropagation;
}

namespace Daemon {

using Platform::IntfId;

// One application of the protocol on the agent's ports: what it declares there on request, and what
// it registers.
class Application {
 public:
  // Told of each indication when the application receives it.
  using Teller = std::function<void(bool join, const Mrp::MrpParameters& parameters)>;

  virtual ~Application() = default;
  virtual Mrp::MrpLib& lib() = 0;
  // Is told what the application passes on, and of whom it decides. Null at first.
  virtual void accountIs(Mrp::Accounts::Account*) {}
  // Its streams, where it is a bridge of them.
  virtual const Mrp::Streams::StreamPropagation* streams() const { return nullptr; }

  // Takes up the work when the engine has been activated.
  virtual void start() = 0;
  // A port that ends tells its neighbour. Settings of a port go with it.
  virtual void portIs(IntfId intf) = 0;
  virtual void portDel(IntfId intf) = 0;

  // What is declared on a port on request. `image` is the value of the type, its key included.
  virtual void declarationIs(IntfId intf, std::uint8_t type, std::span<const std::uint8_t> image,
                             bool declared) = 0;
  // Declared on every port; VLANs only.
  virtual void everywhereIs(const Mrp::VlanSet& vlans, bool declared) = 0;
  virtual void registrationIs(IntfId intf, const Mrp::VlanSet& vlans,
                              Mrp::Registration registration) = 0;
  // VLANs that the kernel's bridge is to have on a port.
  virtual Mrp::VlanSet programmed(IntfId intf) const = 0;
};

}  // namespace Daemon
