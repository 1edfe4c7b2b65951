#pragma once

#include <optional>

#include "agent/account/Account.h"
#include "agent/account/FrameRing.h"
#include "agent/account/ObserverPair.h"
#include "agent/daemon/Monitor.h"
#include "platform/bridging/VlanSet.h"

namespace Daemon {

// What an agent keeps of what happens: its last frames, and who is asking for something just now.
struct Recording {
  std::size_t records = Mrp::Accounts::Account::kDefaultCapacity;  // of each application
  Mrp::Accounts::FrameRing frames;
  Mrp::Accounts::Account::Requester asking{Mrp::Accounts::By::configuration, Mrp::Accounts::kNobody,
                                           Mrp::Accounts::kNobody};
};

// While one is there, what is asked for is asked for by this user.
class Asking {
 public:
  Asking(Recording& recording, std::uint32_t user, std::uint32_t process)
      : recording_(recording), before_(recording.asking) {
    recording.asking = {Mrp::Accounts::By::command, user, process};
  }
  ~Asking() { recording_.asking = before_; }
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;

 private:
  Recording& recording_;
  Mrp::Accounts::Account::Requester before_;
};

// What one instance records: its account, and its frames into the agent's ring.
class InstanceRecorder {
 public:
  InstanceRecorder(Recording& recording, const Platform::Clock& clock,
                   Mrp::MrpApplication application)
      : recording_(recording),
        account_(clock, recording.records),
        tap_(recording.frames, clock, application) {}

  // What the engine tells, beside `other`.
  Mrp::MrpObserver* observer(Monitor& other) {
    inner_ = {recording_.frames.octets() > 0 ? &tap_ : nullptr, &other};
    outer_ = {account(), &inner_};
    return &outer_;
  }
  // Null when none is kept.
  Mrp::Accounts::Account* account() { return account_.capacity() > 0 ? &account_ : nullptr; }
  const Mrp::Accounts::Account& kept() const { return account_; }

  // Somebody, known to the agent, asks for this until the result goes.
  [[nodiscard]] Mrp::Accounts::Because asked(Mrp::Accounts::Verb verb,
                                             const Mrp::MrpAttribute& attribute) {
    return Mrp::Accounts::because(account(), [&](Mrp::Accounts::Account& a) {
      return a.request(verb, attribute, recording_.asking);
    });
  }

  // The same for many VLANs: a record each, or one with key 0 where they would push out the rest.
  [[nodiscard]] Mrp::Accounts::Because asked(Mrp::Accounts::Verb verb, Platform::IntfId intf,
                                             const Platform::VlanSet& vlans) {
    constexpr std::size_t kMany = 256;
    return Mrp::Accounts::because(account(), [&](Mrp::Accounts::Account& a) {
      if (vlans.size() > kMany) return a.request(verb, {intf, 1, 0}, recording_.asking);
      Mrp::Accounts::Number last = 0;
      vlans.walk([&](std::uint16_t vlan) {
        last = a.request(verb, {intf, 1, vlan}, recording_.asking);
      });
      return last;
    });
  }

 private:
  Recording& recording_;
  Mrp::Accounts::Account account_;
  Mrp::Accounts::FrameTap tap_;
  using Inner = Mrp::Accounts::ObserverPair<Mrp::Accounts::FrameTap, Monitor>;
  Inner inner_;
  Mrp::Accounts::ObserverPair<Mrp::Accounts::Account, Inner> outer_;
};

}  // namespace Daemon
