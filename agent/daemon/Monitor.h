#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "mrp/MrpSm/MrpObserver.h"
#include "platform/interface/IntfMap.h"

namespace Daemon {

// Counts what one engine does on each port, and passes on what others want to hear of it.
class Monitor final : public Mrp::MrpObserver {
 public:
  // New, JoinIn, In, JoinMt, Mt, Lv, LeaveAll.
  static constexpr std::size_t kEvents = 7;
  using Events = std::array<std::uint64_t, kEvents>;
  static const std::array<const char*, kEvents> kEventNames;

  struct Port {
    Events received{};
    Events sent{};
    std::uint64_t framesReceived = 0;
    std::uint64_t framesSent = 0;
    std::uint64_t filtered = 0;  // refused by the engine's admission
    std::uint64_t transitions = 0;
    std::map<Reason, std::uint64_t> discards;
    std::optional<Platform::EthAddr> lastOrigin;
  };

  // Called from inside the engine's work: a listener calls neither engine nor service.
  class Listener {
   public:
    virtual void frameSent(Platform::IntfId intf, std::span<const std::uint8_t> octets) = 0;
    // A record was committed or deleted, or what it stands for may have changed.
    virtual void committed(const Mrp::MrpAttribute& attribute, bool added) = 0;
    virtual void changed(const Mrp::MrpAttribute& attribute) = 0;

   protected:
    ~Listener() = default;
  };

  explicit Monitor(Listener& listener) : listener_(listener) {}

  // Null for a port of which nothing was seen.
  const Port* port(Platform::IntfId intf) const { return ports_.find(intf); }
  void portDel(Platform::IntfId intf) {
    last_ = nullptr;
    ports_.del(intf);
  }

  bool wantsIdle() const override { return false; }
  void frame(const Frame& frame) override;
  void event(const Event& event) override {
    Port& port = portOf(event.attribute.intfId);
    Events& events = event.direction == Direction::received ? port.received : port.sent;
    const std::size_t at = event.leaveAll ? kEvents - 1 : event.event;
    if (at < kEvents) ++events[at];
  }
  void discard(const Discard& discard) override;
  void transition(const Transition& transition) override {
    if (transition.from != transition.to) moved(transition);
  }
  void committed(const Commit& commit) override;

 private:
  void moved(const Transition& transition);
  Port& otherPort(Platform::IntfId intf);
  // Once for every event of every frame.
  Port& portOf(Platform::IntfId intf) {
    return last_ && lastIntf_ == intf ? *last_ : otherPort(intf);
  }

  Listener& listener_;
  Platform::IntfMap<Port> ports_;
  Platform::IntfId lastIntf_;  // of the port asked for last
  Port* last_ = nullptr;
};

}  // namespace Daemon
