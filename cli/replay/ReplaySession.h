#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/account/Account.h"
#include "agent/account/ObserverPair.h"
#include "agent/why/Answer.h"
#include "cli/replay/FrameNumbers.h"
#include "cli/replay/Inputs.h"
#include "cli/replay/Output.h"
#include "cli/replay/ReplayApplication.h"
#include "mrp/MrpSm/Engine.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpStatus.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

namespace Cli {

struct ReplayOptions {
  Platform::Seconds leaveTime = 0.6;
  Platform::Seconds leaveAllTime = 10.0;
  std::optional<Platform::Seconds> until;
  bool standby = false;
  bool bridge = false;
  // Lines up to this level go to `trace`.
  int traceLevel = 0;
  std::function<void(Platform::Seconds, const Platform::Trace::Entry&)> trace;
  // Not owned, may be null; outlives the session.
  Mrp::MrpObserver* observer = nullptr;
  // Of the account that is kept; 0: none is.
  std::size_t records = 0;
};

// One switch with one engine, on virtual time. The inputs and outputs outlive it.
class ReplaySession {
 public:
  ReplaySession(const Inputs& inputs, const ReplayOptions& options,
                std::span<Output* const> outputs);
  ~ReplaySession();

  // Does everything up to the end of the run, and reports the final state. Once.
  void run();

  const Mrp::MrpApplicationDatabase& database() const { return engine_->database(); }
  const Mrp::Engine& engine() const { return *engine_; }
  const ReplayApplication& application() const { return *application_; }
  // What has happened, and why.
  const Mrp::Accounts::Account& account() const { return account_; }
  Mrp::Why::Sources sources() const;

 private:
  // Passes everything on to all outputs.
  class Outputs final : public Output {
   public:
    explicit Outputs(std::span<Output* const> outputs) : all_(outputs.begin(), outputs.end()) {}
    void indication(Platform::Seconds time, const Indication& indication) override;
    void transmitted(Platform::Seconds time, const std::string& port, OctetSpan frame) override;
    void logged(Platform::Seconds time, std::string_view handle, std::string_view text) override;
    void reserved(Platform::Seconds time, const Mrp::ReservationState& state) override;
    void sloped(Platform::Seconds time, const Mrp::SlopeState& state) override;
    void bounded(Platform::Seconds time, const Mrp::BoundaryState& state, bool on) override;
    void finished(Platform::Seconds time, const FinalState& state) override;

   private:
    std::vector<Output*> all_;
  };

  void listen(const ReplayOptions& options);
  void createPorts();
  void designatePorts();
  void preload();
  void createEngine(bool standby);
  void enablePorts();
  Platform::Seconds endOfRun() const;

  void act(const FrameAction& action);
  void act(const RequestAction& action);
  void act(const EnableAction& action);
  void act(const LeaveAllAction& action);
  void act(const RoleAction& action);
  void act(const ConfigAction& action);
  void act(const SwitchAction& action);
  void act(const ClogAction& action);
  void act(const ActivateAction& action);
  Mrp::Accounts::Account::Requester requester() const {
    return {Mrp::Accounts::By::scenario, Mrp::Accounts::kNobody, line_};
  }
  void act(const DeclareAction& action) { application_->act(action, requester()); }
  void act(const RegistrationAction& action) { application_->act(action, requester()); }
  template <class BridgesAction>
  void act(const BridgesAction& action) {
    using namespace Mrp::Accounts;
    const Account::Scope because(account_, account_.setting(Setting::other, {}, 0, requester()));
    application_->act(action);
  }

  const Inputs& inputs_;
  std::optional<Platform::Seconds> until_;
  Outputs output_;
  Platform::Ptr<Platform::Embedded::VirtualClock> clock_;
  Mrp::Accounts::Account account_;
  FrameNumbers numbers_;
  using Recorder = Mrp::Accounts::ObserverPair<FrameNumbers, Mrp::Accounts::Account>;
  Recorder recorder_;
  Mrp::Accounts::ObserverPair<Recorder, Mrp::MrpObserver> observers_;
  bool bridge_;
  Platform::Embedded::Switch switch_;
  Platform::Ptr<Mrp::MrpConfig> config_;
  Platform::Ptr<Mrp::MrpStatus> status_;
  std::unique_ptr<ReplayApplication> application_;
  std::uint32_t line_ = 0;             // the action's number, while one acts
  Platform::Ptr<Mrp::Engine> engine_;  // last, so that it goes first
};

}  // namespace Cli
