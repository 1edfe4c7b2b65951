// Reviews that commit pending changes, and a standby side that takes over.

#include "bench/Cases.h"
#include "bench/Network.h"
#include "bench/baseline.h"

namespace Bench {
namespace {

using Mrp::MrpRegistrarState;

constexpr std::size_t kFreshPorts = 16;
const Seconds kReviewDelay{0.1};

}  // namespace

// 64 k VLANs come and go on ports beside those that are populated. What is measured is the turn of
// the review timer, which falls between ticks of the engine's other timers; the share of it that
// goes to asking how full the attribute log is stands in a row beside the table.
std::vector<Row> commit(int rounds) {
  constexpr std::size_t kAttributes = kFreshPorts * kVlans;
  std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  maps.resize(kPorts + kFreshPorts);
  Network network(MrpApplication::mvrp, kPorts + kFreshPorts);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  for (std::size_t i = 0; i < kPorts; ++i) network.receive(network.ports()[i], join);
  network.run(1.0);
  check(network.pending() == 0, "populated");
  const std::vector<IntfId> ports(network.ports().begin() + kPorts, network.ports().end());
  const auto review = [&] {
    check(network.pending() == kAttributes, "changes pending");
    const Seconds due = network.now() + kReviewDelay;
    network.runUntilBefore(due);
    const double ns = cpuNs([&] { network.runUntil(due); });
    check(network.pending() == 0, "changes committed");
    network.run(2.0);
    return ns / kAttributes;
  };
  Rounds adds("commit-add");
  Rounds deletes("commit-delete");
  Rounds log("commit-add/asking-the-log");
  for (int i = 0; i < rounds; ++i) {
    std::vector<PlainMap> pending = plainMaps(kFreshPorts, 1, kVlans);
    const double merge = cpuNs([&] {
      for (std::size_t port = 0; port < kFreshPorts; ++port) {
        mergeAll(maps[kPorts + port], pending[port]);
      }
    });
    check(maps.back().size() == kVlans, "merged");
    const double erase = cpuNs([&] {
      for (std::size_t port = 0; port < kFreshPorts; ++port) {
        eraseAll(maps[kPorts + port], 1, kVlans);
      }
    });
    network.runUntil(network.nextTick() + Seconds(0.05));
    for (const IntfId port : ports) network.receive(port, join);
    adds.add(merge / kAttributes, review());
    log.add(merge / kAttributes, cpuNs([&] { network.askLog(kAttributes); }) / kAttributes);
    check(network.attributes() == (kPorts + kFreshPorts) * kVlans, "added");
    network.runUntil(network.nextTick() + Seconds(0.05));
    for (const IntfId port : ports) network.lib().mrpCleanUpIntfDatabase(port);
    deletes.add(erase / kAttributes, review());
    check(network.attributes() == kPorts * kVlans, "deleted");
  }
  return {adds.row(), deletes.row(), log.row()};
}

// Everything that activation does, to the last machine.
std::vector<Row> start(int rounds) {
  constexpr double kAttributes = static_cast<double>(kPorts) * kVlans;
  const std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  auto status = Platform::makePtr<Mrp::MrpStatus>();
  {
    Network active(MrpApplication::mvrp, kPorts,
                   {.standby = false, .leaveAllTime = 1e6, .lib = {}, .status = status});
    active.receiveOnAll(vlanFrame(1, kVlans, kJoinIn));
    active.run(1.0);
    check(active.pending() == 0, "committed");
  }
  Rounds row("start");
  for (int i = 0; i < rounds; ++i) {
    Network network(MrpApplication::mvrp, kPorts,
                    {.standby = true, .leaveAllTime = 1e6, .lib = {}, .status = status});
    const double base = cpuNs([&] {
      for (const PlainMap& map : maps) walkAll(map);
    });
    const double ns = cpuNs([&] { network.activate(); });
    check(network.registered(MrpRegistrarState::in) == std::size_t(kAttributes),
          "attributes in the index");
    row.add(base / kAttributes, ns / kAttributes);
  }
  return {row.row()};
}

}  // namespace Bench
