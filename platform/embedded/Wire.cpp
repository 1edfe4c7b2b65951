#include "platform/embedded/Wire.h"

#include <algorithm>

#include "platform/Assert.h"

namespace Platform::Embedded {

Wire::Wire(Switch& a, IntfId portA, Switch& b, IntfId portB, const WireOptions& options)
    : options_(options),
      aToB_(*this, a, portA, b, portB, 2 * options.seed),
      bToA_(*this, b, portB, a, portA, 2 * options.seed + 1) {
  MRP_ASSERT_TEXT(a.clock() == b.clock(), "a wire joins switches on one clock");
}

void Wire::up(bool up) {
  up_ = up;
  if (up) return;
  aToB_.clear();
  bToA_.clear();
}

Wire::Lane::Lane(Wire& wire, Switch& from, IntfId fromPort, Switch& to, IntfId toPort,
                 std::uint64_t seed)
    : wire_(wire),
      fromPort_(fromPort),
      to_(to.bus()),
      toPort_(toPort),
      generator_(seed),
      alarm_(*to.clock(), Alarm::Class::arrival) {
  alarm_.bind<&Lane::handleAlarm>(this);
  reactor_.watch<&Lane::handleTransmit>(from.bus()->onTransmit(), this);
}

void Wire::Lane::clear() {
  flying_.clear();
  alarm_.cancel();
}

void Wire::Lane::handleTransmit(IntfId intf, const Pkt& pkt) {
  if (intf != fromPort_ || !wire_.up_) return;
  // Every frame draws the same number of times, so that one probability does not shift another's
  // outcomes.
  const double loss = draw();
  const double duplication = draw();
  const double reordering[] = {draw(), draw()};
  const double heldBack[] = {draw(), draw()};
  ++counters_.sent;
  if (loss < wire_.options_.loss) {
    ++counters_.lost;
    return;
  }
  send(pkt, reordering[0], heldBack[0]);
  if (duplication < wire_.options_.duplication) {
    ++counters_.duplicated;
    send(pkt, reordering[1], heldBack[1]);
  }
}

void Wire::Lane::send(const Pkt& pkt, double reordered, double heldBack) {
  const WireOptions& options = wire_.options_;
  Seconds arrival = std::max(alarm_.clock().now() + options.delay, lastInOrder_);
  if (reordered < options.reordering) {
    ++counters_.reordered;
    arrival = arrival + Seconds(heldBack * options.reorderingDelay.value());
  } else {
    lastInOrder_ = arrival;
  }
  flying_.emplace(arrival, Ptr<const Pkt>(&pkt));
  wake();
}

void Wire::Lane::wake() {
  if (flying_.empty()) return;
  const Seconds due = flying_.begin()->first;
  if (!alarm_.armed() || due < alarm_.due()) alarm_.dueIs(due);
}

void Wire::Lane::handleAlarm() {
  const Seconds now = alarm_.clock().now();
  while (!flying_.empty() && flying_.begin()->first <= now) {
    const Ptr<const Pkt> pkt = flying_.begin()->second;
    flying_.erase(flying_.begin());
    ++counters_.delivered;
    to_->receive(toPort_, pkt->octets(), Seconds());
  }
  wake();
}

double Wire::Lane::draw() { return static_cast<double>(generator_() >> 11) * 0x1.0p-53; }

}  // namespace Platform::Embedded
