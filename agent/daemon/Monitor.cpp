#include "agent/daemon/Monitor.h"

namespace Daemon {

const std::array<const char*, Monitor::kEvents> Monitor::kEventNames{
    "New", "JoinIn", "In", "JoinMt", "Mt", "Lv", "LeaveAll"};

void Monitor::frame(const Frame& frame) {
  Port& port = portOf(frame.intf);
  if (frame.direction == Direction::received) {
    ++port.framesReceived;
    port.lastOrigin = frame.source;
    return;
  }
  ++port.framesSent;
  listener_.frameSent(frame.intf, frame.octets);
}

void Monitor::discard(const Discard& discard) {
  Port& port = portOf(discard.attribute.intfId);
  ++port.discards[discard.reason];
  if (discard.reason == Reason::destination || discard.reason == Reason::etherType) {
    ++port.filtered;
  }
}

Monitor::Port& Monitor::otherPort(Platform::IntfId intf) {
  lastIntf_ = intf;
  return *(last_ = &ports_.is(intf));
}

// Every LeaveAll moves every record through LV and the anxious states and back, which changes
// nothing of what it stands for.
void Monitor::moved(const Transition& transition) {
  ++portOf(transition.attribute.intfId).transitions;
  bool was = false;
  bool is = false;
  if (transition.machine == Machine::registrar) {
    constexpr auto kMt = static_cast<std::uint8_t>(Mrp::MrpRegistrarState::mt);
    was = transition.from != kMt;
    is = transition.to != kMt;
  } else {
    was = declares(static_cast<Mrp::MrpApplicantState>(transition.from));
    is = declares(static_cast<Mrp::MrpApplicantState>(transition.to));
  }
  if (was != is) listener_.changed(transition.attribute);
}

void Monitor::committed(const Commit& commit) {
  listener_.committed(commit.attribute, commit.added);
}

}  // namespace Daemon
