#pragma once

#include <cstdint>

#include "platform/time/TimerWheel.h"

namespace Mrp {

class MrpAttrDatabase;

// Leave timer of one attribute: gives its registration the leave time in which to be declared
// again. Part of the attribute's record, so that a million of them run without a million objects;
// the registrar arms them and serves their expiry. While one runs its record keeps its place, and
// further leave events never restart it. It outlives its attribute's registration: unmarking the
// key leaves the timer running, and its expiry then finds nothing to expire. A key that is pending
// on a timer that has fired is armed anew by the next leave event.
class MrpLeaveSm : public Platform::Timer {
 public:
  // Timer kinds. An explicit leave is a received Lv; all others come from LeaveAlls and role
  // changes. The two run independently of each other.
  static constexpr std::uint8_t kLeave = 1;
  static constexpr std::uint8_t kExplicitLeave = 2;

  explicit MrpLeaveSm(std::uint8_t kind) : Timer(kind) {}

  MrpAttrDatabase& record();
  bool explicitLeave() const { return kind() == kExplicitLeave; }

  // Whether the leave of this key is pending on this timer.
  bool leavePendingHas(std::uint64_t key);
  bool leavePending() const { return note() & kPending; }
  void leavePendingIs(bool pending) { bitIs(kPending, pending); }
  // Set while the expiry is being served; it may have been dropped meanwhile.
  bool expiring() const { return note() & kExpiring; }
  void expiringIs(bool expiring) { bitIs(kExpiring, expiring); }
  bool dropped() const { return note() & kDropped; }
  void droppedIs(bool dropped) { bitIs(kDropped, dropped); }

  bool running() const { return armed() || expiring(); }

 private:
  static constexpr unsigned kPending = 1;
  static constexpr unsigned kExpiring = 2;
  static constexpr unsigned kDropped = 4;
  void bitIs(unsigned bit, bool on) {
    noteIs(static_cast<std::uint8_t>(on ? note() | bit : note() & ~bit));
  }
};

}  // namespace Mrp
