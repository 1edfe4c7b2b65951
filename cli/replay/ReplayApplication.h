#pragma once

#include <memory>
#include <span>

#include "agent/account/Account.h"
#include "agent/msrp/StreamPropagation.h"
#include "cli/replay/Action.h"
#include "cli/replay/Output.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "platform/time/Clock.h"

namespace Cli {

// What stands on the engine of a replay: a plain service object, or the application's bridge. Hands
// indications to an output, before whatever they cause.
class ReplayApplication {
 public:
  virtual ~ReplayApplication() = default;

  virtual Mrp::MrpLib& lib() = 0;
  // The engine has been made, or has been activated.
  virtual void start() {}
  // A port is there from the beginning, enabled or not.
  virtual void portIs(Platform::IntfId intf, bool enabled);
  virtual void enabledIs(Platform::IntfId intf, bool enabled);
  virtual void joinDiscardIs(bool /*discard*/) {}
  virtual void accountIs(Mrp::Accounts::Account*) {}
  // For whoever asks why.
  virtual Mrp::Registration registration(Platform::IntfId, std::uint16_t) const {
    return Mrp::Registration::normal;
  }
  virtual const Mrp::Streams::StreamPropagation* streams() const { return nullptr; }
  virtual BridgeState state(std::span<const std::string> /*ports*/) const { return {}; }

  virtual void act(const BridgePortAction&) {}
  virtual void act(const EgressAction&) {}
  virtual void act(const AddressAction&) {}
  virtual void act(const BridgeAction&) {}
  // `by` asks for them.
  using Requester = Mrp::Accounts::Account::Requester;
  virtual void act(const DeclareAction&, const Requester& /*by*/) {}
  virtual void act(const RegistrationAction&, const Requester& /*by*/) {}
};

std::unique_ptr<ReplayApplication> replayApplication(const ApplicationInfo& info, bool bridge,
                                                     Platform::Ptr<Platform::Clock> clock,
                                                     Output& output);

}  // namespace Cli
