#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "platform/embedded/Switch.h"

namespace PlatformTest {

using namespace Platform;

// What an engine sets up on a switch to have endpoints.
struct Endpoints {
  Endpoints(PlatformServices& services, const Ptr<DeviceIntfStatusDir>& devices)
      : manager(services.ethDevPamManager(desired, pams, devices)) {}
  explicit Endpoints(Embedded::Switch& on)
      : Endpoints(on.stateDatabase()->services(), on.deviceIntfStatusDir()) {}

  Ptr<DesiredIntfDir> desired = makePtr<DesiredIntfDir>();
  Ptr<PamCollection> pams = makePtr<PamCollection>();
  Ptr<EthDevPamManager> manager;
};

inline EthAddr mac(std::uint64_t n) { return EthAddr::fromNumber(0x020000000000 + n); }

// A frame of `size` octets with its EtherType, and `mark` in its last octet.
inline std::vector<std::uint8_t> frame(std::uint16_t etherType, std::uint8_t mark,
                                       std::size_t size = 60) {
  std::vector<std::uint8_t> octets(size);
  if (size > 13) {
    octets[12] = static_cast<std::uint8_t>(etherType >> 8);
    octets[13] = static_cast<std::uint8_t>(etherType);
  }
  octets.back() = mark;
  return octets;
}

inline Ptr<Pkt> packet(const std::vector<std::uint8_t>& octets) {
  auto pkt = makePtr<Pkt>(octets.size());
  pkt->append(octets);
  return pkt;
}

// Reads every frame it is notified of and keeps the last octets, with the time in tenths.
struct Reader {
  explicit Reader(Ptr<Pam> from, Ptr<Clock> by = nullptr) : pam(from), clock(by) {
    reactor.watch<&Reader::handleRxPkt>(from->onRxPkt(), this);
  }
  void handleRxPkt() {
    const Ptr<Pkt> pkt = pam->rxPkt();
    marks.push_back(pkt ? pkt->octets().back() : 0);
    if (clock) at.push_back(clock->now());
  }

  Ptr<Pam> pam;
  Ptr<Clock> clock;
  std::vector<std::uint8_t> marks;
  std::vector<Seconds> at;
  Reactor<> reactor;
};

}  // namespace PlatformTest
