#pragma once

#include <array>
#include <cstdint>
#include <memory>
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
  using Ports = std::vector<std::unique_ptr<Port>>;

  Granting(const Ports& ports, FanIn& fanIn, const Entries& entries)
      : allPorts_(ports), fanIn_(fanIn), entries_(entries) {}

  // What the stream takes from now on. It keeps its grants if its frames stay the same ones.
  void bookingIs(Stream& stream, const Booking& booking);
  // Whether it is to be granted on the port if there is room.
  void candidateIs(Stream& stream, Port& port, bool candidate);
  // The port's limits, or what has been refused, may have changed.
  void contend(Port& port);
  void decide();

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
    for (auto s = needs.upper_bound(above); s != needs.end() && (*s)->booked.need <= upTo; ++s) {
      visit(**s);
    }
  }
  // Visits all that need something.
  template <class Visit>
  void walkBooked(Visit visit) const {
    for (const auto& byClass : needs_) {
      for (const Needs& needs : byClass) {
        for (Stream* s : needs) visit(*s);
      }
    }
  }

 private:
  struct ByNeed {
    using is_transparent = void;
    bool operator()(const Stream* a, const Stream* b) const {
      return std::tie(a->booked.need, a->id) < std::tie(b->booked.need, b->id);
    }
    bool operator()(BitsPerSecond need, const Stream* s) const { return need < s->booked.need; }
  };
  using Needs = std::set<Stream*, ByNeed>;
  struct Contender {
    Importance importance;
    Stream* stream;
    Port* port;
    friend bool operator<(const Contender& a, const Contender& b) {
      return std::tuple(a.importance, a.port->index) < std::tuple(b.importance, b.port->index);
    }
  };
  using Contenders = std::vector<Contender>;

  void grant(Stream& stream, Port& port);
  void ungrant(Stream& stream, Port& port);
  void arrives(Stream& stream, Port& port);
  Contender contender(Stream& stream, Port& port) const;
  void takeBackFresh();
  bool emergencyWaits(const Port& port) const;
  bool toBeDecidedAnew(Port& port) const;
  void gather(Port& port, Contenders& holders, Contenders& newcomers);
  void gatherAll(Port& port, Contenders& holders, Contenders& newcomers);
  void gatherWaiting(Port& port, Contenders& newcomers);
  void regrantHolders(const Contenders& holders, std::uint8_t rank);
  void grantNewcomers(const Contenders& newcomers, std::uint8_t rank);

  const Ports& allPorts_;
  FanIn& fanIn_;
  const Entries& entries_;
  // The booked streams.
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
