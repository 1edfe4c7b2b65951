// Resident memory of everything that is registered, in octets for an attribute.

#include "bench/Cases.h"
#include "bench/Network.h"

namespace Bench {
namespace {

// The larger figure of two moments: registered and committed; and after a LeaveAll on every port,
// when every attribute has a leave timer that runs.
template <class ReceiveAll>
std::vector<Row> memory(const std::string& name, double attributes, Network& network, double before,
                        ReceiveAll receiveAll, const Octets& leaveAll) {
  receiveAll();
  network.run(2.0);
  const auto expected = static_cast<std::size_t>(attributes);
  check(network.registered() == expected && network.pending() == 0, "attributes registered");
  const double registered = (residentOctets() - before) / attributes;
  network.receiveOnAll(leaveAll);
  check(network.leaving() == expected, "leave timers started");
  const double leaving = (residentOctets() - before) / attributes;
  return {{name, std::max(registered, leaving), {}, {}},
          {name + "/registered", registered, {}, {}},
          {name + "/leaving", leaving, {}, {}}};
}

}  // namespace

std::vector<Row> memoryMvrp(const Extent&) {
  const double before = residentOctets();
  Network network(MrpApplication::mvrp, kPorts);
  return memory(
      "memory-mvrp", static_cast<double>(kPorts) * kVlans, network, before,
      [&] { network.receiveOnAll(vlanFrame(1, kVlans, kJoinIn)); }, vlanLeaveAllFrame());
}

std::vector<Row> memoryMsrp(const Extent&) {
  constexpr std::size_t kStreamPorts = 64;
  constexpr std::uint16_t kStreams = 1024;
  const double before = residentOctets();
  Network network(MrpApplication::msrp, kStreamPorts);
  return memory(
      "memory-msrp", 2.0 * kStreamPorts * kStreams, network, before,
      [&] {
        for (std::size_t i = 0; i < kStreamPorts; ++i) {
          network.receive(network.ports()[i],
                          streamFrame(0x0200000000010000 + (i << 20), kStreams, kJoinIn));
        }
      },
      streamLeaveAllFrame());
}

}  // namespace Bench
