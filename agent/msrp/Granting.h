#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "agent/msrp/Entries.h"
#include "agent/msrp/FanIn.h"
#include "agent/msrp/Stream.h"

namespace Mrp::Streams {

// Which of the streams that somebody listens to are granted on which port (IEEE 802.1Q-2018
// 35.2.4.1): in the order of importance, each that fits on top of those before it. Of newcomers,
// the order holds over all ports, since they compete for places of in-ports and entries, too.
//
// Candidates and bookings change at any time; decide() brings the grants up to date and looks only
// at ports where something has changed. What is granted with it is `fresh` until the switch has
// been told.
class Granting {
 public:
  using Grant = std::pair<Stream*, Port*>;

  Granting(FanIn& fanIn, const Entries& entries) : fanIn_(fanIn), entries_(entries) {}

  // What the stream takes from now on. It keeps its grants if its frames stay the same ones.
  void bookingIs(Stream& stream, const Booking& booking);
  // Whether it is to be granted on the port if there is room.
  void candidateIs(Stream& stream, Port& port, bool candidate);
  // The port's limits, or what has been refused, may have changed.
  void contend(Port& port);
  void decide(Seconds now);

  std::vector<Grant>& fresh() { return fresh_; }
  // The switch refuses a fresh one. It takes no bandwidth and is not granted here until retried.
  void refuse(Stream& stream, Port& port, ReservationResult result);
  // Those refused on any of these ports wait again.
  void retry(const std::vector<Port*>& ports);
  bool anyRefused() const { return refused_ > 0; }

  // Whose place has changed since settled(), some of them more than once.
  const std::vector<Grant>& moved() const { return moved_; }
  // Entries whose ports may have changed, and ports on which slopes may have, since settled().
  const std::set<std::uint64_t>& addresses() const { return addresses_; }
  const std::vector<Port*>& ports() const { return ports_; }
  // All are told: marks who has lost its place to a stream of rank 0.
  void settled(const std::vector<Grant>& granted);
  void portDel(Port& port);

  // Visits the streams of a rank and class that need more than `above` and at most `upTo`.
  template <class Visit>
  void walkNeeds(std::uint8_t rank, SrClass srClass, BitsPerSecond above, BitsPerSecond upTo,
                 Visit visit) const {
    const Needs& needs = needs_[rank][indexOf(srClass)];
    for (auto n = needs.upper_bound({above, UINT64_MAX, nullptr});
         n != needs.end() && n->need <= upTo; ++n) {
      visit(*n->stream);
    }
  }

 private:
  struct Need {
    BitsPerSecond need;
    StreamId id;
    Stream* stream;
    friend bool operator<(const Need& a, const Need& b) {
      return std::pair(a.need, a.id) < std::pair(b.need, b.id);
    }
  };
  using Needs = std::set<Need>;
  struct Contender {
    Importance importance;
    Stream* stream;
    Port* port;
    friend bool operator<(const Contender& a, const Contender& b) {
      return std::tuple(a.importance, a.port->index) < std::tuple(b.importance, b.port->index);
    }
  };
  using Contenders = std::vector<Contender>;

  void grant(Stream& stream, Port& port, Seconds since);
  void ungrant(Stream& stream, Port& port);
  void arrives(Stream& stream, Port& port);
  Contender contender(Stream& stream, Port& port) const;
  void takeBackFresh();
  bool toBeDecidedAnew(Port& port) const;
  void gather(Port& port, Contenders& holders, Contenders& newcomers);
  void gatherAll(Port& port, Contenders& holders, Contenders& newcomers);
  void gatherWaiting(Port& port, Contenders& newcomers);
  void regrantHolders(const Contenders& holders, std::uint8_t rank);
  void grantNewcomers(const Contenders& newcomers, std::uint8_t rank, Seconds now);

  FanIn& fanIn_;
  const Entries& entries_;
  // The booked streams by what they need.
  std::array<std::array<Needs, kSrClasses>, PortBandwidth::kRanks> needs_;
  std::vector<Grant> fresh_;
  std::vector<Grant> lost_;
  std::vector<Grant> moved_;
  std::set<std::uint64_t> addresses_;
  std::vector<Port*> ports_;
  std::vector<Port*> contended_;
  std::size_t refused_ = 0;
  bool again_ = false;  // not the first decision since settled()
};

}  // namespace Mrp::Streams
