#pragma once

#include <cstdint>
#include <map>
#include <random>

#include "platform/embedded/Switch.h"

namespace Platform::Embedded {

struct WireOptions {
  Seconds delay = 1e-6;
  // Probabilities in 0..1, drawn for each frame from `seed`: the same traffic with the same seed
  // meets the same fate. A reordered frame is held back by up to `reorderingDelay` more, while
  // others pass it.
  double loss = 0;
  double duplication = 0;
  double reordering = 0;
  Seconds reorderingDelay = 1e-3;
  std::uint64_t seed = 1;
};

// Joins two ports, of two switches on one clock or of the same switch: what an endpoint of one port
// sends is received on the other. Up at first. Frames in flight are lost when the wire goes down,
// which may happen at any time, or is destroyed, which may not happen from inside a delivery.
class Wire {
 public:
  struct Counters {
    std::uint64_t sent = 0;
    std::uint64_t lost = 0;
    std::uint64_t duplicated = 0;
    std::uint64_t reordered = 0;
    std::uint64_t delivered = 0;  // copies that left the wire, taken by an endpoint or not
  };

  Wire(Switch& a, IntfId portA, Switch& b, IntfId portB, const WireOptions& options = {});
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;

  void up(bool up);
  bool isUp() const { return up_; }
  // Change the fate of frames sent from now on.
  void delayIs(Seconds delay) { options_.delay = delay; }
  void lossIs(double probability) { options_.loss = probability; }
  void duplicationIs(double probability) { options_.duplication = probability; }
  void reorderingIs(double probability) { options_.reordering = probability; }

  std::size_t inFlight() const { return aToB_.inFlight() + bToA_.inFlight(); }
  const Counters& fromA() const { return aToB_.counters(); }
  const Counters& fromB() const { return bToA_.counters(); }

 private:
  // One way of the wire. Its generator is its own, so that traffic the other way changes nothing.
  class Lane {
   public:
    Lane(Wire& wire, Switch& from, IntfId fromPort, Switch& to, IntfId toPort, std::uint64_t seed);

    void clear();
    std::size_t inFlight() const { return flying_.size(); }
    const Counters& counters() const { return counters_; }

   private:
    void handleTransmit(IntfId intf, const Pkt& pkt);
    void send(const Pkt& pkt, double reordered, double heldBack);
    void wake();
    void handleAlarm();
    double draw();

    Wire& wire_;
    IntfId fromPort_;
    Ptr<EthDevBus> to_;
    IntfId toPort_;
    std::mt19937_64 generator_;
    std::multimap<Seconds, Ptr<const Pkt>> flying_;  // by arrival; equal ones in sending order
    Seconds lastInOrder_;
    Counters counters_;
    Alarm alarm_;
    Reactor<IntfId, const Pkt&> reactor_;
  };

  WireOptions options_;
  bool up_ = true;
  Lane aToB_;
  Lane bToA_;
};

}  // namespace Platform::Embedded
