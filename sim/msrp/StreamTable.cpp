#include "sim/msrp/StreamTable.h"

#include "sim/msrp/StreamNetwork.h"
#include "sim/mvrp/Run.h"
#include "sim/network/LossTable.h"

namespace Sim {
namespace {

constexpr std::uint64_t kStream = 1;

Mrp::MsrpTalkerAdvertiseAttribute stream() {
  Mrp::MsrpTalkerAdvertiseAttribute value;
  value.streamId = kStream;
  value.frame.dmac = Platform::EthAddr::fromNumber(0x91e0f0000001);
  value.frame.vlanId = std::uint16_t{2};
  value.tSpec.maxFrameSize = std::uint16_t{200};
  value.tSpec.maxIntervalFrames = std::uint16_t{1};
  value.priorityAndRank = Mrp::PriorityAndRank::create(3, 1);
  value.accumulatedLatency = std::uint32_t{100};
  return value;
}

// A quiet network, in which the first station talks and the two others listen; later a link breaks
// on the way, where there is another one; then the listeners leave.
class StreamExperiment {
 public:
  StreamExperiment(Shape shape, double loss, std::uint64_t seed)
      : random_(seed),
        shape_(shape),
        topology_(shape, kTableBridges, kTableStations, random_),
        network_(topology_, {.delay = 1e-3, .loss = loss}, seed, 0) {
    network_.applyRoles();
    network_.clock().run(random_.between(15, 30));
  }

  void measure(Times& times) {
    network_.talk(0, stream());
    for (int s = 1; s < kTableStations; ++s) {
      network_.listen(s, kStream, Mrp::MsrpListenerEvent::ready);
    }
    times.join.push_back(untilRight(true));
    if (shape_ == Shape::ring) {
      network_.clock().run(random_.between(0, kPeriod));
      untilRight(true);
      network_.linkDown(0, Down::vanished);
      topology_.spanningTree();
      network_.applyRoles();
      times.failover.push_back(untilRight(true));
    }
    for (int s = 1; s < kTableStations; ++s) network_.leave(s, kStream);
    times.leave.push_back(untilRight(false));
  }

 private:
  // Both ends of every link agree, every bridge has decided by that, and the talker has heard.
  double untilRight(bool reserved) {
    return timeUntil(network_, [&] {
      return (network_.reservations() > 0) == reserved && network_.disagreement().empty() &&
             network_.deviation().empty() && network_.unheard().empty();
    });
  }

  Random random_;
  Shape shape_;
  Topology topology_;
  StreamNetwork network_;
};

}  // namespace

void streamTable(int seeds, std::ostream& out) {
  lossTable<StreamExperiment>(seeds, "reserve", out);
}

}  // namespace Sim
