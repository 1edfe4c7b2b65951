#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "sim/network/Fabric.h"

namespace Sim {

// A fabric whose bridges run MsrpBridge over a switch in memory and whose stations run a plain
// service object, all links up. Stations talk and listen.
class StreamNetwork : public Fabric {
 public:
  using StreamId = std::uint64_t;
  struct Says {
    std::map<StreamId, Mrp::MsrpTalkerAdvertiseAttribute> talks;
    std::map<StreamId, Mrp::MsrpListenerEvent> listens;
  };

  // Links between bridges carry 100 Mb/s with probability `narrow`, else 1 Gb/s.
  StreamNetwork(Topology& topology, const WireOptions& fate, std::uint64_t seed, double narrow);

  void talk(int station, const Mrp::MsrpTalkerAdvertiseAttribute& value);
  void hush(int station, StreamId id);
  void listen(int station, StreamId id, Mrp::MsrpListenerEvent event);
  void leave(int station, StreamId id);
  const std::vector<Says>& stations() const { return stations_; }

  // Values by type and stream, as one side of a link sees them.
  using Seen = std::map<std::pair<std::uint8_t, StreamId>, std::vector<std::uint8_t>>;
  // Where the two ends of a link disagree: what one declares and what the other has registered.
  std::string disagreement() const;
  // What is wrong inside a bridge, now or at any instant before: sums, entries, limits.
  std::string inconsistency() const;
  // Where a bridge differs from everything decided anew from what its engine has registered.
  std::string deviation() const;
  // Where a talker does not hear of the listeners what these, merged, have to say.
  std::string unheard() const;
  // What every end of every link has registered.
  std::vector<Seen> registered() const;
  // How often any application was told that a registration ended.
  std::uint64_t leaves() const;
  // How often switches were told something.
  std::uint64_t told() const { return told_; }
  // Streams reserved somewhere, for the story.
  std::size_t reservations() const;

 private:
  std::unique_ptr<Application> make(int node, Switch& sw);
  void request(int station, std::uint8_t type, StreamId id, Mrp::MrpThreePackedEvent event);

  std::vector<Says> stations_;
  std::vector<double> narrow_;  // of each link, drawn once
  std::uint64_t told_ = 0;
  std::string fault_;
};

}  // namespace Sim
